#ifndef TOOLS_BSETCTL_SET_FILE_H
#define TOOLS_BSETCTL_SET_FILE_H

#include <memory>
#include <string>

class Backup_Set;

// A set document in a file, read into the record of its kind: the kind is
// the one its "catalog_module" names, or `kind` (a class or module name)
// where the module name is empty or to be overridden.
class Set_File {
 public:
  // Null, with `error` naming the file and the member at fault.
  // `kind_class` gets the class of the record's kind, e.g.
  // "MySQL_Backup_Set" ("Backup_Set" for a plain set).
  static std::unique_ptr<Backup_Set> load(std::string const& path, std::string const& kind, std::string& kind_class,
                                          std::string& error);
};

#endif
