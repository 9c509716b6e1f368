// bsetctl: the command line of the backup-set library and its catalogue.
#include <memory>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "backup/backup_set/common/library_version.h"
#include "tools/bsetctl/command.h"
#include "tools/bsetctl/commands.h"

int main(int argc, char** argv) {
  CLI::App app(
      "bsetctl: commit backup sets to a catalogue, stage large ones, and read them back.\n"
      "Run 'bsetctl COMMAND --help' for the options of a command.",
      "bsetctl");
  app.set_version_flag("--version", std::string("bsetctl ") + backupset_version());
  app.require_subcommand(1, 1);

  std::vector<std::unique_ptr<Command>> commands;
  commands.push_back(make_serve_command());
  commands.push_back(make_commit_command());
  commands.push_back(make_stage_command());
  commands.push_back(make_list_command());
  commands.push_back(make_show_command());
  commands.push_back(make_pieces_command());
  commands.push_back(make_restore_pool_command());
  std::vector<std::pair<CLI::App*, Command*>> chosen;
  for (auto& c : commands) chosen.emplace_back(c->add(app), c.get());

  try {
    app.parse(argc, argv);
  } catch (CLI::ParseError const& e) {
    // --help and --version end here too, with CLI11's success code.
    int const code = app.exit(e);
    return code == 0 ? Command::DONE : Command::USAGE;
  }
  for (auto& [sub, command] : chosen)
    if (sub->parsed()) return command->run();
  return Command::USAGE;
}
