// bsetctl serve: catalogd in the foreground, with catalogd's own options.
#include <iostream>

#include <CLI/CLI.hpp>

#include "server/catalog_server.h"
#include "server/server_options.h"
#include "tools/bsetctl/commands.h"

namespace {

class Serve_Command : public Command {
 public:
  CLI::App* add(CLI::App& app) override {
    CLI::App* cmd = app.add_subcommand("serve", "run catalogd in the foreground until Ctrl-C or SIGTERM");
    cmd->footer(
        "Examples:\n"
        "  bsetctl serve --db catalog.db --listen 127.0.0.1:8420\n"
        "  bsetctl serve --db postgresql://catalog@db.example/catalog --token SECRET --queue-commits");
    Server_Options::add_options(*cmd, options_);
    return cmd;
  }

  int run() override {
    std::string error;
    if (!options_.finish(error)) {
      std::cerr << "bsetctl serve: " << error << "\n";
      return USAGE;
    }
    Catalog_Server::run(options_, "bsetctl serve");
  }

 private:
  Server_Options options_;
};

}  // namespace

std::unique_ptr<Command> make_serve_command() { return std::make_unique<Serve_Command>(); }
