#ifndef SERVER_SET_DOCUMENT_H
#define SERVER_SET_DOCUMENT_H

#include <string>
#include <utility>
#include <vector>

#include "backup/backup_set/common/backup_set_document.h"
#include "platform/json/json_text.h"
#include "platform/json/value.h"

// A set document as catalogd stores it, in two parts: the common part (the
// keys every set writes, stored in backup_set, backup_set_storage and
// backup_piece) and the application part (whatever the set's kind writes
// behind them, stored whole as JSON and, for the columns the kind's own
// select statement reads, in the kind's member table).
//
// Some kinds write a key the common part also writes ("extended_attrs",
// "storages"). Such a document holds the key twice, the common value first;
// the parser keeps the first in the object and hands the later ones over as
// `later`. A key the kind always writes and that appears only once is the
// kind's (the common part left it out), unless its value is not of the
// kind's type: then it is the common part's (a partial update of HANA's
// common "extended_attrs" object). The rule is the library's
// (Backup_Set_Document::split), which reads documents back the same way.
class Set_Document {
 public:
  typedef Backup_Set_Document::Later_Values Later_Values;

  Set_Document() = default;
  explicit Set_Document(json_spirit::Value doc, Later_Values const& later = Later_Values());

  // The later values of the keys repeated in the object at `path`.
  static Later_Values later_values(std::vector<JSON_Repeated_Key> const& repeats,
                                   std::vector<std::string> const& path);

  // The whole document when it is not an object (the checks then say so).
  json_spirit::Value const& common() const { return common_; }
  json_spirit::Object const& application() const { return application_; }
  // The kind the document was written by, or null (a plain set, or a kind
  // this catalogd does not know: its keys are kept all the same).
  Backup_Set_Kind const* kind() const { return kind_; }

  // Whether `key` is one the common part writes.
  static bool common_key(std::string const& key);

 private:
  json_spirit::Value common_;
  json_spirit::Object application_;
  Backup_Set_Kind const* kind_ = nullptr;
};

#endif
