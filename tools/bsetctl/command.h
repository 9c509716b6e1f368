#ifndef TOOLS_BSETCTL_COMMAND_H
#define TOOLS_BSETCTL_COMMAND_H

#include <CLI/CLI.hpp>

// One subcommand of bsetctl. add() declares it, its options and its help on
// the tool's application; run() does the work once the command line has been
// parsed and this subcommand was chosen.
//
// Exit statuses every command keeps, so that scripts can trust them: 0 the
// work was done, 1 it failed (one line on stderr saying what went wrong and
// what to do), 2 the command line was wrong (CLI11's parse errors, and
// run() returns 2 for option combinations CLI11 cannot check).
class Command {
 public:
  enum Status { DONE = 0, FAILED = 1, USAGE = 2 };

  virtual ~Command() = default;
  virtual CLI::App* add(CLI::App& app) = 0;
  virtual int run() = 0;
};

#endif
