#ifndef BACKUP_BACKUP_SET_COMMON_BACKUP_SET_DOCUMENT_H
#define BACKUP_BACKUP_SET_COMMON_BACKUP_SET_DOCUMENT_H

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"
#include "platform/export.h"
#include "platform/json/value.h"

// A set document read back into the record of its kind, for tools that load
// a set from a file and commit it through the operators. The document is
// the one Backup_Set::generate writes: the common keys, then the kind's.
// Writing the record again gives the document back key for key (the text
// too, for a document the library wrote).
//
// Some kinds write a key the common part also writes ("extended_attrs",
// "storages"): such a document holds the key twice, the common value first.
// A key the kind always writes that appears once is the kind's, unless its
// value is not of the kind's type: then it is the common part's. catalogd
// splits the documents it stores by the same rule (split).
class BSET_API Backup_Set_Document {
 public:
  // The later values of keys a document holds more than once, in document
  // order (JSON_Parse's repeats at the top of the document).
  typedef std::vector<std::pair<std::string, json_spirit::Value>> Later_Values;

  // The kind a document is read as: the one named by `kind` when it is not
  // empty (a class name such as "File_Backup_Set" or a module name such as
  // "file", case-insensitive; "Backup_Set" for a plain set), else the one
  // its "catalog_module" and keys call for (Backup_Set_Kinds::find); null
  // for a plain set. False, with `error` saying why, when `kind` names no
  // kind, the document is not an object or its module is one no kind has.
  static bool kind_of(json_spirit::Value const& doc, std::string const& kind, Backup_Set_Kind const*& found,
                      std::string& error);
  // The kind a document's own "catalog_module" and keys call for, or null
  // (a plain set, or a module no kind has).
  static Backup_Set_Kind const* kind_of(json_spirit::Object const& doc);

  // The record of the document. Null, with `error` naming the member at
  // fault ("pieces[3].size: not an integer but a string"), when the text is
  // not a JSON object, a member has the wrong type or a value out of range,
  // a member is one neither the common part nor the kind writes, a key is
  // given twice where the kind does not share it with the common part, or
  // "catalog_module" is not the module of the kind read.
  static std::unique_ptr<Backup_Set> read(std::string const& text, std::string const& kind, std::string& error);
  // (A literal is text, not a JSON string value.)
  static std::unique_ptr<Backup_Set> read(char const* text, std::string const& kind, std::string& error) {
    return read(std::string(text ? text : ""), kind, error);
  }
  // The same for a parsed document; `later` holds the later values of its
  // repeated keys (a parsed object keeps the first only).
  static std::unique_ptr<Backup_Set> read(json_spirit::Value const& doc, std::string const& kind,
                                          std::string& error);
  static std::unique_ptr<Backup_Set> read(json_spirit::Value const& doc, Later_Values const& later,
                                          std::string const& kind, std::string& error);

  // The members of a document (`doc`, emptied) into its common part and the
  // part written by `kind` (everything else, all of it when `kind` is
  // null), by the rule above. Of a key given more than twice the last value
  // counts.
  static void split(json_spirit::Object& doc, Backup_Set_Kind const* kind, Later_Values const& later,
                    json_spirit::Object& common, json_spirit::Object& application);
};

#endif
