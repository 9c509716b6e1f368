// bsetctl stage: a large set staged piece by piece (initialize, add_piece in
// batches, complete), aborted on any failure or Ctrl-C.
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <fstream>
#include <iostream>
#include <vector>

#include <CLI/CLI.hpp>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/catalog_operator.h"
#include "platform/json/json_text.h"
#include "tools/bsetctl/catalog_endpoint.h"
#include "tools/bsetctl/commands.h"
#include "tools/bsetctl/error_log.h"
#include "tools/bsetctl/progress_meter.h"
#include "tools/bsetctl/set_file.h"

namespace {

std::atomic<bool> interrupted{false};

void on_interrupt(int) { interrupted = true; }

class Stage_Command : public Command {
 public:
  CLI::App* add(CLI::App& app) override {
    CLI::App* cmd = app.add_subcommand("stage", "stage a set: initialize, add its pieces in batches, complete");
    cmd->add_option("FILE", file_, "the set document (JSON); pieces in it go with the initialize")
        ->required()
        ->check(CLI::ExistingFile);
    cmd->add_option("--pieces", pieces_, "the pieces, one JSON object a line (JSON lines)")
        ->required()
        ->check(CLI::ExistingFile);
    cmd->add_option("--batch", batch_, "pieces sent in one add_piece request")
        ->check(CLI::Range(1, 100000))
        ->capture_default_str();
    cmd->add_option("--kind", kind_, "the kind to read the document as, by class or module name");
    cmd->add_flag("--verbose", verbose_, "show the library's log on stderr");
    Catalog_Endpoint::declare(cmd, endpoint_, true);
    cmd->footer(
        "A failure, or Ctrl-C, aborts the staged set: catalogd keeps nothing of it.\n"
        "Example:\n"
        "  bsetctl stage examples/sets/file.json --pieces examples/sets/file.pieces.jsonl --batch 500");
    return cmd;
  }

  int run() override {
    std::string error, kind_class;
    Catalog_Endpoint endpoint;
    if (!endpoint.open(endpoint_, error)) {
      std::cerr << "bsetctl stage: " << error << "\n";
      return USAGE;
    }
    std::unique_ptr<Backup_Set> set = Set_File::load(file_, kind_, kind_class, error);
    if (!set) return fail(error);
    std::ifstream in(pieces_, std::ios::binary | std::ios::ate);
    if (!in) return fail(pieces_ + ": cannot be read");
    unsigned long long const total = static_cast<unsigned long long>(in.tellg());
    in.seekg(0);

    Error_Log log(verbose_);
    std::unique_ptr<Catalog_Operator> op = endpoint.make_operator();
    if (!op->initialize(*set))
      return fail(log.explain("set " + set->uuid + " could not be staged on " + endpoint.url()));
    // The document's own pieces went with the initialize; complete must not
    // send them again.
    set->pieces.clear();

    struct sigaction action {};
    action.sa_handler = on_interrupt;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);

    Progress_Meter meter(std::cerr, isatty(STDERR_FILENO) != 0, total, "pieces");
    std::vector<json_spirit::Value> batch;
    unsigned long long sent = 0, line_number = 0, done_bytes = 0;
    std::string line;
    auto send = [&]() -> bool {
      if (batch.empty()) return true;
      if (!op->add_piece(set->uuid, batch)) {
        error = log.explain("add_piece of pieces " + std::to_string(sent + 1) + " to " +
                            std::to_string(sent + batch.size()) + " failed");
        return false;
      }
      sent += batch.size();
      batch.clear();
      meter.update(done_bytes, sent);
      return true;
    };
    while (!interrupted && std::getline(in, line)) {
      ++line_number;
      done_bytes += line.size() + 1;
      if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
      json_spirit::Value piece;
      if (!JSON_Parse(line, piece) || piece.type() != json_spirit::obj_type) {
        error = pieces_ + ":" + std::to_string(line_number) + ": not a JSON object";
        return abort(*op, *set, error);
      }
      batch.push_back(std::move(piece));
      if (batch.size() >= static_cast<size_t>(batch_) && !send()) return abort(*op, *set, error);
    }
    if (!interrupted && !send()) return abort(*op, *set, error);
    if (interrupted) return abort(*op, *set, "interrupted after " + std::to_string(sent) + " pieces");
    if (!op->complete(*set)) return abort(*op, *set, log.explain("complete failed"));
    meter.finish(sent);
    std::cout << "staged " << set->uuid << " (" << kind_class << ", " << sent << " pieces in batches of " << batch_
              << ") over " << endpoint.transport() << "\n";
    return DONE;
  }

 private:
  int fail(std::string const& error) {
    std::cerr << "bsetctl stage: " << error << "\n";
    return FAILED;
  }

  int abort(Catalog_Operator& op, Backup_Set const& set, std::string const& why) {
    if (isatty(STDERR_FILENO)) std::cerr << "\n";  // the bar holds the line
    std::vector<json_spirit::Value> pieces;
    bool const aborted = op.abort(set.uuid, pieces);
    return fail(why + (aborted ? "; staged set " + set.uuid + " aborted, nothing of it is kept"
                               : "; aborting staged set " + set.uuid + " failed too (catalogd drops it when it expires)"));
  }

  std::string file_;
  std::string pieces_;
  std::string kind_;
  int batch_ = 1000;
  bool verbose_ = false;
  Catalog_Endpoint::Options endpoint_;
};

}  // namespace

std::unique_ptr<Command> make_stage_command() { return std::make_unique<Stage_Command>(); }
