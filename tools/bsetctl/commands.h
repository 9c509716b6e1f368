#ifndef TOOLS_BSETCTL_COMMANDS_H
#define TOOLS_BSETCTL_COMMANDS_H

#include <memory>

#include "tools/bsetctl/command.h"

// The subcommands of bsetctl, one per file (tools/bsetctl/*_command.cpp).
std::unique_ptr<Command> make_serve_command();
std::unique_ptr<Command> make_commit_command();
std::unique_ptr<Command> make_stage_command();
std::unique_ptr<Command> make_list_command();
std::unique_ptr<Command> make_show_command();
std::unique_ptr<Command> make_pieces_command();
std::unique_ptr<Command> make_restore_pool_command();

#endif
