// bsetctl restore-pool: the pool a restore of a set reads from, and why.
#include <iostream>

#include <CLI/CLI.hpp>

#include "backup/backup_set/common/backup_set_state.h"
#include "backup/backup_set/common/backup_set_storage_selector.h"
#include "platform/json/json_text.h"
#include "tools/bsetctl/catalog_reader.h"
#include "tools/bsetctl/commands.h"
#include "tools/bsetctl/table_printer.h"
#include "tools/bsetctl/view_text.h"

using json_spirit::Object;
using json_spirit::Value;

namespace {

class Restore_Pool_Command : public Command {
 public:
  CLI::App* add(CLI::App& app) override {
    CLI::App* cmd = app.add_subcommand("restore-pool", "show the pool a restore of a set reads from, and why");
    cmd->add_option("UUID", uuid_, "the set's uuid")->required();
    Catalog_Reader::declare(cmd, reader_);
    cmd->add_flag("--json", json_, "the choice and the copies as one JSON object");
    cmd->footer(
        "The rule: the first online copy that is not a replica; else the last online replica that holds real\n"
        "data (not virtual); else the last copy that is not a replica, even if it is not online.");
    return cmd;
  }

  int run() override {
    Catalog_Reader reader;
    std::string error;
    Object set;
    if (!reader.open(reader_, error) || !reader.find_set(uuid_, set, error)) {
      std::cerr << "bsetctl restore-pool: " << error << "\n";
      return FAILED;
    }
    json_spirit::Array storages;
    auto s = set.find("storages");
    if (s != set.end() && s->second.type() == json_spirit::array_type) storages = s->second.get_array();

    // The library's selector makes the choice; the reason is read off the
    // copy it chose.
    Backup_Set_Storage_Selector selector(storages, Backup_Set_Storage_Selector::MODE_SOURCE_POOL);
    std::string const& pool = selector.pool_uuid();
    std::string rule = "no copy of the set can be read (it has no storage copy that qualifies)";
    Table_Printer table({"POOL", "ROLE", "STATE", "ONLINE", "VIRTUAL", "SIZE", "CHOSEN"}, std::cout);
    json_spirit::Array copies;
    for (Value const& v : storages) {
      if (v.type() != json_spirit::obj_type) continue;
      Object const& o = v.get_obj();
      std::string const upstream = View_Text::cell(o, "upstream_pool_uuid");
      auto names = o.find("state");
      Backup_Set_State const state(names != o.end() && names->second.type() == json_spirit::array_type
                                       ? names->second.get_array()
                                       : json_spirit::Array());
      bool const online = state.get_bit(Backup_Set_State::ONLINE);
      bool const is_virtual = state.get_bit(Backup_Set_State::VIRTUAL);
      bool const chosen = !pool.empty() && View_Text::cell(o, "pool_uuid") == pool;
      if (chosen)
        rule = !upstream.empty() ? "no primary copy is online; this is the last online replica holding real data"
               : online          ? "it is the first online primary copy"
                                 : "no copy is online; this is the last primary copy";
      std::string const role = upstream.empty() ? "primary" : "replica of " + upstream;
      table.add({View_Text::cell(o, "pool_uuid"), role, View_Text::cell(o, "state"), online ? "yes" : "no",
                 is_virtual ? "yes" : "no", View_Text::bytes(o, "size"), chosen ? "<-" : ""});
      Object copy = o;
      copy["role"] = Value(upstream.empty() ? "primary" : "replica");
      copy["online"] = Value(online);
      copy["virtual"] = Value(is_virtual);
      copy["chosen"] = Value(chosen);
      copies.push_back(Value(copy));
    }
    if (json_) {
      Object out;
      out["uuid"] = Value(uuid_);
      out["pool_uuid"] = pool.empty() ? Value() : Value(pool);
      out["reason"] = Value(rule);
      out["copies"] = Value(copies);
      std::cout << JSON_Dump(Value(out)) << "\n";
    } else {
      table.flush();
      if (pool.empty())
        std::cout << "\nset " << uuid_ << " cannot be restored: " << rule << "\n";
      else
        std::cout << "\nrestore of " << uuid_ << " reads from pool " << pool << ": " << rule << "\n";
    }
    return pool.empty() ? FAILED : DONE;
  }

 private:
  std::string uuid_;
  Catalog_Reader::Options reader_;
  bool json_ = false;
};

}  // namespace

std::unique_ptr<Command> make_restore_pool_command() { return std::make_unique<Restore_Pool_Command>(); }
