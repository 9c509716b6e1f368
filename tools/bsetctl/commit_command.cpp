// bsetctl commit: one set document, committed whole through an operator.
#include <iostream>

#include <CLI/CLI.hpp>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/catalog_operator.h"
#include "tools/bsetctl/catalog_endpoint.h"
#include "tools/bsetctl/commands.h"
#include "tools/bsetctl/error_log.h"
#include "tools/bsetctl/set_file.h"

namespace {

class Commit_Command : public Command {
 public:
  CLI::App* add(CLI::App& app) override {
    CLI::App* cmd = app.add_subcommand("commit", "commit a set document to catalogd");
    cmd->add_option("FILE", file_, "the set document (JSON), as its kind writes it")->required()->check(CLI::ExistingFile);
    cmd->add_option("--kind", kind_,
                    "the kind to read the document as, by class or module name (needed where its "
                    "\"catalog_module\" is empty and its keys fit several kinds)");
    cmd->add_flag("--confirm", confirm_, "when catalogd only queues the commit, wait until the set is stored");
    cmd->add_flag("--verbose", verbose_, "show the library's log on stderr");
    Catalog_Endpoint::declare(cmd, endpoint_, true);
    cmd->footer(
        "Examples:\n"
        "  bsetctl commit examples/sets/oracle.json --server http://127.0.0.1:8420\n"
        "  bsetctl commit mysql-full.json --kind MySQL_Backup_Set --rest --confirm");
    return cmd;
  }

  int run() override {
    std::string error, kind_class;
    Catalog_Endpoint endpoint;
    if (!endpoint.open(endpoint_, error)) {
      std::cerr << "bsetctl commit: " << error << "\n";
      return USAGE;
    }
    std::unique_ptr<Backup_Set> set = Set_File::load(file_, kind_, kind_class, error);
    if (!set) {
      std::cerr << "bsetctl commit: " << error << "\n";
      return FAILED;
    }
    Error_Log log(verbose_);
    std::unique_ptr<Catalog_Operator> op = endpoint.make_operator(confirm_);
    if (!op->commit(*set, confirm_)) {
      std::cerr << "bsetctl commit: "
                << log.explain("set " + set->uuid + " was not committed to " + endpoint.url() + " over " +
                               endpoint.transport())
                << "\n";
      return FAILED;
    }
    std::cout << "committed " << set->uuid << " (" << kind_class << ", " << set->pieces.size() << " pieces, "
              << set->storages.size() << (set->storages.size() == 1 ? " copy" : " copies") << ") over "
              << endpoint.transport() << (confirm_ ? ", confirmed stored" : "") << "\n";
    return DONE;
  }

 private:
  std::string file_;
  std::string kind_;
  bool confirm_ = false;
  bool verbose_ = false;
  Catalog_Endpoint::Options endpoint_;
};

}  // namespace

std::unique_ptr<Command> make_commit_command() { return std::make_unique<Commit_Command>(); }
