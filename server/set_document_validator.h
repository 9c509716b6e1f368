#ifndef SERVER_SET_DOCUMENT_VALIDATOR_H
#define SERVER_SET_DOCUMENT_VALIDATOR_H

#include <string>
#include <vector>

#include "platform/json/value.h"

class Backup_Set_Kind;

// Checks the documents agents send before anything is stored, so that a bad
// member is answered with its name ("storages[1].pool_uuid: not a UUID") and
// nothing is written half-way. Keys it does not know (the application
// members' own keys) are accepted.
class Set_Document_Validator {
 public:
  // How a common member of the set document is typed on the wire and stored.
  enum Kind { TEXT, UUID, TIME, INTEGER, OBJECT };
  struct Member {
    char const* key;
    Kind kind;
  };
  // The common members in the order of the catalogue's set columns.
  static std::vector<Member> const& set_members();

  // A whole set document (initialize, commit, complete, update). With
  // `require_uuid` false a missing "uuid" is accepted (the uuid then comes
  // from elsewhere, e.g. a REST query).
  static bool validate_set(json_spirit::Value const& doc, bool require_uuid, std::string& error);

  // The application part of a set document against its kind's fields:
  // each key the kind knows must have the JSON type and range of its field
  // ("seq: not an unsigned 32-bit integer"). Keys the kind does not know,
  // and every key when there is no kind, are kept unchecked.
  static bool validate_application(Backup_Set_Kind const* kind, json_spirit::Object const& application,
                                   std::string& error);

  // An array of piece objects; errors are named "<name>[i].<member>".
  static bool validate_pieces(json_spirit::Value const& pieces, std::string const& name, std::string& error);

  // One storage object; errors are named "<name>.<member>".
  static bool validate_storage(json_spirit::Value const& storage, std::string const& name, std::string& error);

  // Every string and key of a request, at any depth: text both engines
  // store as it came (well-formed UTF-8 without NUL characters), nested no
  // deeper than DEEPEST levels, so that any answer carrying it is still
  // JSON. `too_deep` tells the two refusals apart.
  static bool validate_tree(json_spirit::Value const& value, std::string const& name, bool& too_deep,
                            std::string& error);
  static int const DEEPEST = 120;
  // The longest piece path and common text member taken, in bytes: the
  // catalogue indexes them.
  static size_t const LONGEST_PATH = 4096;
  static size_t const LONGEST_TEXT = 2048;

  // The canonical 8-4-4-4-12 hexadecimal form.
  static bool is_uuid(std::string const& text);

  // Exactly "YYYY-MM-DD HH:MM:SS" (UTC) naming a real time; `seconds` gets it.
  static bool parse_time(std::string const& text, long long& seconds);

  // True when every name is a known storage state; otherwise `bad` gets the
  // first unknown one.
  static bool known_states(json_spirit::Array const& names, std::string& bad);
};

#endif
