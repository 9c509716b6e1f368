// bsetctl pieces: the pieces of a set by path, or what one directory of it
// holds.
#include <iostream>
#include <optional>

#include <CLI/CLI.hpp>

#include "platform/json/json_text.h"
#include "tools/bsetctl/catalog_reader.h"
#include "tools/bsetctl/commands.h"
#include "tools/bsetctl/table_printer.h"
#include "tools/bsetctl/view_text.h"

using json_spirit::Object;
using json_spirit::Value;

namespace {

class Pieces_Command : public Command {
 public:
  CLI::App* add(CLI::App& app) override {
    CLI::App* cmd = app.add_subcommand("pieces", "list the pieces of a set, or browse one directory of it");
    cmd->add_option("UUID", uuid_, "the set's uuid")->required();
    cmd->add_option("--dir", dir_,
                    "show what this directory holds: its subdirectories (with the pieces and bytes beneath) "
                    "and its pieces; \"\" or / is the top");
    Catalog_Reader::declare(cmd, reader_);
    cmd->add_option("--page", page_, "rows read from the catalogue at a time")
        ->check(CLI::Range(1, 10000))
        ->capture_default_str();
    cmd->add_flag("--json", json_, "one JSON object a line instead of a table");
    return cmd;
  }

  int run() override {
    Catalog_Reader reader;
    std::string error;
    Object set;
    if (!reader.open(reader_, error) || !reader.find_set(uuid_, set, error)) return fail(error);
    bool const browsing = dir_.has_value();
    Object params;
    params["uuid"] = Value(uuid_);
    params["limit"] = Value(page_);
    if (browsing) params["dir"] = Value(*dir_ == "/" ? std::string() : *dir_);
    Table_Printer table(browsing ? std::vector<std::string>{"TYPE", "PATH", "PIECES", "SIZE"}
                                 : std::vector<std::string>{"ID", "PATH", "SIZE", "OBJECT"},
                        std::cout);
    size_t count = 0;
    bool const ok = reader.each_page(browsing ? "children" : "pieces", params, [&](json_spirit::Array const& rows) {
      for (Value const& v : rows) {
        if (v.type() != json_spirit::obj_type) continue;
        ++count;
        Object const& r = v.get_obj();
        if (json_)
          std::cout << JSON_Dump(v) << '\n';
        else if (!browsing)
          table.add({View_Text::cell(r, "id"), View_Text::cell(r, "path"), View_Text::bytes(r, "size"),
                     View_Text::cell(r, "object")});
        else if (View_Text::cell(r, "type") == "dir")
          table.add({"dir", View_Text::cell(r, "path") + "/", View_Text::cell(r, "pieces"), View_Text::bytes(r, "size")});
        else
          table.add({"file", View_Text::cell(r, "path"), "1", View_Text::bytes(r, "size")});
      }
      if (!json_) table.flush();
      std::cout.flush();
      return true;
    }, error);
    if (!ok) return fail(error);
    if (!json_)
      std::cerr << count << (browsing ? (count == 1 ? " entry" : " entries") : (count == 1 ? " piece" : " pieces"))
                << "\n";
    return DONE;
  }

 private:
  int fail(std::string const& error) {
    std::cerr << "bsetctl pieces: " << error << "\n";
    return FAILED;
  }

  std::string uuid_;
  std::optional<std::string> dir_;
  Catalog_Reader::Options reader_;
  int page_ = 1000;
  bool json_ = false;
};

}  // namespace

std::unique_ptr<Command> make_pieces_command() { return std::make_unique<Pieces_Command>(); }
