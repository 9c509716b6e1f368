// bsetctl show: one set, its storage copies and its kind's keys.
#include <iostream>

#include <CLI/CLI.hpp>

#include "platform/json/json_text.h"
#include "tools/bsetctl/catalog_reader.h"
#include "tools/bsetctl/commands.h"
#include "tools/bsetctl/table_printer.h"
#include "tools/bsetctl/view_text.h"

using json_spirit::Object;
using json_spirit::Value;

namespace {

class Show_Command : public Command {
 public:
  CLI::App* add(CLI::App& app) override {
    CLI::App* cmd = app.add_subcommand("show", "show one set: its members, storage copies and its kind's keys");
    cmd->add_option("UUID", uuid_, "the set's uuid")->required();
    Catalog_Reader::declare(cmd, reader_);
    cmd->add_flag("--json", json_, "the set's row as one JSON object");
    return cmd;
  }

  int run() override {
    Catalog_Reader reader;
    std::string error;
    Object row;
    if (!reader.open(reader_, error) || !reader.find_set(uuid_, row, error)) {
      std::cerr << "bsetctl show: " << error << "\n";
      return FAILED;
    }
    if (json_) {
      std::cout << JSON_Dump(Value(row)) << "\n";
      return DONE;
    }
    Table_Printer members({"MEMBER", "VALUE"}, std::cout);
    for (auto const& member : row) {
      if (member.first == "storages" || member.first == "application") continue;
      members.add({member.first, member.first == "size" || member.first == "source_size"
                                     ? View_Text::cell(member.second) + " (" + View_Text::bytes(row, member.first.c_str()) + ")"
                                     : View_Text::cell(member.second)});
    }
    members.flush();
    auto storages = row.find("storages");
    if (storages != row.end() && storages->second.type() == json_spirit::array_type) {
      std::cout << "\nstorage copies:\n";
      Table_Printer copies({"POOL", "STATE", "SIZE", "UPSTREAM POOL"}, std::cout);
      for (Value const& s : storages->second.get_array()) {
        if (s.type() != json_spirit::obj_type) continue;
        Object const& o = s.get_obj();
        copies.add({View_Text::cell(o, "pool_uuid"), View_Text::cell(o, "state"), View_Text::bytes(o, "size"),
                    View_Text::cell(o, "upstream_pool_uuid")});
      }
      copies.flush();
    }
    auto app = row.find("application");
    if (app != row.end() && app->second.type() == json_spirit::obj_type && !app->second.get_obj().empty()) {
      std::cout << "\nkeys of its kind:\n";
      Table_Printer keys({"KEY", "VALUE"}, std::cout);
      for (auto const& member : app->second.get_obj()) keys.add({member.first, View_Text::cell(member.second)});
      keys.flush();
    }
    return DONE;
  }

 private:
  std::string uuid_;
  Catalog_Reader::Options reader_;
  bool json_ = false;
};

}  // namespace

std::unique_ptr<Command> make_show_command() { return std::make_unique<Show_Command>(); }
