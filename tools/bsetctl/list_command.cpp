// bsetctl list: the complete sets of a catalogue, newest first, a page at a
// time.
#include <strings.h>

#include <iostream>

#include <CLI/CLI.hpp>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "platform/json/json_text.h"
#include "tools/bsetctl/catalog_reader.h"
#include "tools/bsetctl/commands.h"
#include "tools/bsetctl/table_printer.h"
#include "tools/bsetctl/view_text.h"

using json_spirit::Object;
using json_spirit::Value;

namespace {

bool looks_like_uuid(std::string const& s) {
  if (s.size() != 36) return false;
  for (size_t i = 0; i < s.size(); ++i) {
    bool const dash = i == 8 || i == 13 || i == 18 || i == 23;
    if (dash ? s[i] != '-' : !std::isxdigit(static_cast<unsigned char>(s[i]))) return false;
  }
  return true;
}

class List_Command : public Command {
 public:
  CLI::App* add(CLI::App& app) override {
    CLI::App* cmd = app.add_subcommand("list", "list the complete sets of a catalogue, newest first");
    Catalog_Reader::declare(cmd, reader_);
    cmd->add_option("--kind", kind_, "only sets of this kind (class or module name, e.g. Oracle_Backup_Set or oracle)");
    cmd->add_option("--host", host_, "only sets of this host (its uuid, or its name)");
    cmd->add_option("--since", since_, "only sets started at or after this time (YYYY-MM-DD[ HH:MM:SS], UTC)");
    cmd->add_option("--until", until_, "only sets started before this time (YYYY-MM-DD[ HH:MM:SS], UTC)");
    cmd->add_option("--page", page_, "sets read from the catalogue at a time")
        ->check(CLI::Range(1, 10000))
        ->capture_default_str();
    cmd->add_flag("--json", json_, "one JSON object a line instead of a table");
    cmd->footer(
        "Examples:\n"
        "  bsetctl list --db catalog.db\n"
        "  bsetctl list --server http://127.0.0.1:8420 --kind oracle --since 2026-11-01 --json");
    return cmd;
  }

  int run() override {
    Object params;
    params["limit"] = Value(page_);
    std::string bound;
    if (!since_.empty()) {
      if (!View_Text::time_bound(since_, bound)) return usage("--since: '" + since_ + "' is not YYYY-MM-DD[ HH:MM:SS]");
      params["since"] = Value(bound);
    }
    if (!until_.empty()) {
      if (!View_Text::time_bound(until_, bound)) return usage("--until: '" + until_ + "' is not YYYY-MM-DD[ HH:MM:SS]");
      params["until"] = Value(bound);
    }
    Backup_Set_Kind const* kind = nullptr;
    if (!kind_.empty()) {
      for (Backup_Set_Kind const* k : Backup_Set_Kinds::all())
        if (strcasecmp(k->class_name(), kind_.c_str()) == 0 || (*k->module() && strcasecmp(k->module(), kind_.c_str()) == 0)) {
          kind = k;
          break;
        }
      if (!kind) return usage("--kind: no kind is called '" + kind_ + "'");
      params["catalog_module"] = Value(std::string(kind->module()));
    }
    bool const host_is_uuid = looks_like_uuid(host_);
    if (host_is_uuid) params["host_uuid"] = Value(host_);

    Catalog_Reader reader;
    std::string error;
    if (!reader.open(reader_, error)) return fail(error);
    Table_Printer table({"UUID", "START", "END", "MODULE", "TYPE", "HOST", "NAME", "SIZE", "COPIES"},
                        std::cout);
    size_t shown = 0;
    bool const ok = reader.each_page("sets", params, [&](json_spirit::Array const& rows) {
      for (Value const& v : rows) {
        if (v.type() != json_spirit::obj_type) continue;
        Object const& row = v.get_obj();
        if (!host_.empty() && !host_is_uuid && View_Text::cell(row, "host") != host_) continue;
        if (kind && !*kind->module() && !of_kind(row, *kind)) continue;
        ++shown;
        if (json_) {
          std::cout << JSON_Dump(v) << '\n';
          continue;
        }
        auto storages = row.find("storages");
        size_t const copies = storages != row.end() && storages->second.type() == json_spirit::array_type
                                  ? storages->second.get_array().size()
                                  : 0;
        table.add({View_Text::cell(row, "uuid"), View_Text::cell(row, "backup_start_time"),
                   View_Text::cell(row, "backup_end_time"), View_Text::cell(row, "catalog_module"),
                   View_Text::cell(row, "type"), View_Text::cell(row, "host"), View_Text::cell(row, "name"),
                   View_Text::bytes(row, "size"), std::to_string(copies)});
      }
      if (!json_) table.flush();
      std::cout.flush();
      return true;
    }, error);
    if (!ok) return fail(error);
    if (!json_) std::cerr << shown << (shown == 1 ? " set" : " sets") << " in " << reader.source() << "\n";
    return DONE;
  }

 private:
  // Kinds that share the empty module name are told apart by their keys.
  static bool of_kind(Object const& row, Backup_Set_Kind const& kind) {
    auto app = row.find("application");
    if (app == row.end() || app->second.type() != json_spirit::obj_type) return false;
    std::vector<std::string> keys;
    for (auto const& member : app->second.get_obj()) keys.push_back(member.first);
    return Backup_Set_Kinds::find("", keys) == &kind;
  }

  int usage(std::string const& error) {
    std::cerr << "bsetctl list: " << error << "\n";
    return USAGE;
  }
  int fail(std::string const& error) {
    std::cerr << "bsetctl list: " << error << "\n";
    return FAILED;
  }

  Catalog_Reader::Options reader_;
  std::string kind_;
  std::string host_;
  std::string since_;
  std::string until_;
  int page_ = 1000;
  bool json_ = false;
};

}  // namespace

std::unique_ptr<Command> make_list_command() { return std::make_unique<List_Command>(); }
