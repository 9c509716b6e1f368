// Cost of writing a backup-set document through Backup_Set::generate, against
// a hand-written writer that makes the same bytes with plain yajl calls.
//
//   bench_generate                 both writers at 0, 100, 10,000 and 1,000,000
//                                  pieces, a ratio table, then a peak-RSS run
//   bench_generate --rss-only      only the peak-RSS run (one 1,000,000-piece document)

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <yajl/yajl_gen.h>

#include "backup/backup_set/common/backup_set.h"

extern char** environ;

namespace {

long long const SIZES[] = {0, 100, 10000, 1000000};

// A file-system set as an agent fills it: identifiers, times, host facts, one
// storage copy and `pieces` files with ~60-byte paths.
std::unique_ptr<Backup_Set> make_set(long long pieces) {
  std::unique_ptr<Backup_Set> set(new Backup_Set("file"));
  set->uuid = "6f1c2a8e-3b4d-4e5f-8a9b-0c1d2e3f4a5b";
  set->name = "fs-nightly-2024-05-01";
  set->definition_uuid = "0a1b2c3d-4e5f-4a6b-8c7d-8e9f0a1b2c3d";
  set->job_instance_uuid = "9f8e7d6c-5b4a-4392-8170-6f5e4d3c2b1a";
  set->uid = "1714521600-000123";
  set->host_uuid = "2b3c4d5e-6f70-4182-93a4-b5c6d7e8f901";
  set->resource_uuid = "3c4d5e6f-7081-4293-a4b5-c6d7e8f90a12";
  set->minor_resource_id = "/srv/data";
  set->minor_resource_name = "data";
  set->agent = "fs-agent/4.2.1";
  set->incarnation = "1";
  set->type = "full";
  set->first_time = 1714521600;
  set->last_time = 1714525200;
  set->backup_start_time = 1714521600;
  set->backup_end_time = 1714525260;
  set->source_size = 0;
  set->uri = "file://fs01.example.lan/srv/data";
  set->host = "fs01.example.lan";
  set->instance = "srv-data";
  set->instance_version = "ext4";
  set->uname["sysname"] = json_spirit::Value("Linux");
  set->uname["release"] = json_spirit::Value("6.1.0-21-amd64");
  set->uname["machine"] = json_spirit::Value("x86_64");
  set->lsb["DISTRIB_ID"] = json_spirit::Value("Debian");
  set->lsb["DISTRIB_RELEASE"] = json_spirit::Value("12");
  set->add_storage("4d5e6f70-8192-43a4-b5c6-d7e8f90a1b23", 0);
  set->storages.back().state = Backup_Set_State(Backup_Set_State::ONLINE);
  set->pieces.reserve(static_cast<size_t>(pieces));
  char path[96];
  long long total = 0;
  for (long long i = 0; i < pieces; ++i) {
    snprintf(path, sizeof path, "/backup/2024-05-01/job-7f3a9c21/vol-%02lld/file-%09lld.dat", i % 16, i);
    unsigned long long const size = 1048576ULL + static_cast<unsigned long long>(i) * 7919ULL % 1073741824ULL;
    set->add_piece(path, size);
    total += static_cast<long long>(size);
  }
  set->size = total;
  set->source_size = total;
  set->storages.back().size = total;
  return set;
}

Backup_Set& set_of(long long pieces) {
  static std::map<long long, std::unique_ptr<Backup_Set>> sets;
  auto& slot = sets[pieces];
  if (!slot) slot = make_set(pieces);
  return *slot;
}

// ---- the reference writer: plain yajl calls, no wrapper, no temporaries ----

#define KEY(text) yajl_gen_string(g, reinterpret_cast<unsigned char const*>(text), sizeof(text) - 1)

inline void raw_str(yajl_gen g, std::string const& s) {
  yajl_gen_string(g, reinterpret_cast<unsigned char const*>(s.data()), s.size());
}

inline void raw_time(yajl_gen g, long long seconds) {
  time_t t = static_cast<time_t>(seconds);
  struct tm tm;
  gmtime_r(&t, &tm);
  char buf[32];
  size_t n = strftime(buf, sizeof buf, "%Y-%m-%d %H:%M:%S", &tm);
  yajl_gen_string(g, reinterpret_cast<unsigned char const*>(buf), n);
}

// The benchmark's maps hold only strings.
void raw_string_map(yajl_gen g, json_spirit::Object const& o) {
  yajl_gen_map_open(g);
  for (auto const& member : o) {
    raw_str(g, member.first);
    raw_str(g, member.second.get_str());
  }
  yajl_gen_map_close(g);
}

void raw_generate(yajl_gen g, Backup_Set const& s) {
  yajl_gen_map_open(g);
  KEY("catalog_module");
  yajl_gen_string(g, reinterpret_cast<unsigned char const*>(s.catalog_module), strlen(s.catalog_module));
  KEY("uuid"); raw_str(g, s.uuid);
  KEY("name"); raw_str(g, s.name);
  KEY("job_instance_uuid"); raw_str(g, s.job_instance_uuid);
  KEY("definition_uuid"); raw_str(g, s.definition_uuid);
  KEY("uid"); raw_str(g, s.uid);
  KEY("host_uuid"); raw_str(g, s.host_uuid);
  KEY("resource_uuid"); raw_str(g, s.resource_uuid);
  KEY("minor_resource_id"); raw_str(g, s.minor_resource_id);
  KEY("minor_resource_name"); raw_str(g, s.minor_resource_name);
  KEY("agent"); raw_str(g, s.agent);
  KEY("incarnation"); raw_str(g, s.incarnation);
  KEY("type"); raw_str(g, s.type);
  KEY("backup_start_time"); raw_time(g, s.backup_start_time);
  KEY("uri"); raw_str(g, s.uri);
  KEY("host"); raw_str(g, s.host);
  KEY("instance"); raw_str(g, s.instance);
  KEY("instance_version"); raw_str(g, s.instance_version);
  KEY("first_scn"); yajl_gen_integer(g, s.first_scn);
  KEY("last_scn"); yajl_gen_integer(g, s.last_scn);
  if (s.first_time) { KEY("first_time"); raw_time(g, s.first_time); }
  if (s.last_time) { KEY("last_time"); raw_time(g, s.last_time); }
  if (s.backup_end_time) { KEY("backup_end_time"); raw_time(g, s.backup_end_time); }
  KEY("size"); yajl_gen_integer(g, s.size);
  KEY("source_size"); yajl_gen_integer(g, s.source_size);
  KEY("resource_tree"); raw_string_map(g, s.resource_tree);
  KEY("extended_attrs"); raw_string_map(g, s.extended_attrs);
  Backup_Set_Storage const& st = s.storages.front();
  KEY("storage");
  yajl_gen_map_open(g);
  KEY("pool_uuid"); raw_str(g, st.pool_uuid);
  KEY("size"); yajl_gen_integer(g, st.size);
  KEY("state");
  yajl_gen_array_open(g);
  if (st.state.get_bit(Backup_Set_State::ONLINE)) KEY("online");
  yajl_gen_array_close(g);
  KEY("extended_attrs"); raw_string_map(g, st.extended_attrs);
  yajl_gen_map_close(g);
  KEY("pieces");
  yajl_gen_array_open(g);
  for (Backup_Piece const& p : s.pieces) {
    yajl_gen_map_open(g);
    KEY("path"); raw_str(g, p.path);
    KEY("object"); raw_str(g, p.object);
    KEY("size"); yajl_gen_integer(g, p.size);
    KEY("extended_attrs");
    yajl_gen_map_open(g);
    yajl_gen_map_close(g);
    yajl_gen_map_close(g);
  }
  yajl_gen_array_close(g);
  KEY("lsb"); raw_string_map(g, s.lsb);
  KEY("uname"); raw_string_map(g, s.uname);
  yajl_gen_map_close(g);
}

#undef KEY

std::string text_of(yajl_gen g) {
  unsigned char const* buf = nullptr;
  size_t len = 0;
  yajl_gen_get_buf(g, &buf, &len);
  return std::string(reinterpret_cast<char const*>(buf), len);
}

std::string library_text(Backup_Set& set) {
  yajl_gen g = yajl_gen_alloc(nullptr);
  bool const ok = set.generate(g);
  std::string text = ok ? text_of(g) : std::string();
  yajl_gen_free(g);
  return text;
}

std::string raw_text(Backup_Set& set) {
  yajl_gen g = yajl_gen_alloc(nullptr);
  raw_generate(g, set);
  std::string text = text_of(g);
  yajl_gen_free(g);
  return text;
}

std::map<long long, size_t> document_bytes;

// Each iteration makes one whole document on a fresh generator, as a
// transport does for one request.
void BM_Library(benchmark::State& state) {
  Backup_Set& set = set_of(state.range(0));
  size_t bytes = 0;
  for (auto _ : state) {
    yajl_gen g = yajl_gen_alloc(nullptr);
    if (!set.generate(g)) state.SkipWithError("generate failed");
    unsigned char const* buf;
    yajl_gen_get_buf(g, &buf, &bytes);
    benchmark::DoNotOptimize(buf);
    yajl_gen_free(g);
  }
  state.SetItemsProcessed(state.iterations());
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
}

void BM_Raw(benchmark::State& state) {
  Backup_Set& set = set_of(state.range(0));
  size_t bytes = 0;
  for (auto _ : state) {
    yajl_gen g = yajl_gen_alloc(nullptr);
    raw_generate(g, set);
    unsigned char const* buf;
    yajl_gen_get_buf(g, &buf, &bytes);
    benchmark::DoNotOptimize(buf);
    yajl_gen_free(g);
  }
  state.SetItemsProcessed(state.iterations());
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
}

// Keeps every repetition's time per document so the table can use medians.
class Collecting_Reporter : public benchmark::ConsoleReporter {
 public:
  Collecting_Reporter() : ConsoleReporter(isatty(STDOUT_FILENO) ? OO_Defaults : OO_Tabular) {}

  void ReportRuns(std::vector<Run> const& runs) override {
    for (Run const& run : runs) {
      if (run.run_type != Run::RT_Iteration || run.error_occurred || run.iterations == 0) continue;
      double const ns = run.real_accumulated_time * 1e9 / static_cast<double>(run.iterations);
      long long const n = atoll(run.run_name.args.c_str());
      (run.run_name.function_name == "generate/library" ? library_[n] : raw_[n]).push_back(ns);
    }
    ConsoleReporter::ReportRuns(runs);
  }

  static double median(std::vector<double> v) {
    if (v.empty()) return 0;
    std::sort(v.begin(), v.end());
    return v.size() % 2 ? v[v.size() / 2] : (v[v.size() / 2 - 1] + v[v.size() / 2]) / 2;
  }

  void print_table() const {
    printf("\n%10s %12s %14s %14s %8s %12s %12s\n", "pieces", "doc bytes", "library ns", "raw ns", "ratio",
           "library MB/s", "raw MB/s");
    for (long long n : SIZES) {
      auto l = library_.find(n);
      auto r = raw_.find(n);
      if (l == library_.end() || r == raw_.end()) continue;
      double const lib = median(l->second), raw = median(r->second);
      double const bytes = static_cast<double>(document_bytes[n]);
      printf("%10lld %12.0f %14.0f %14.0f %8.3f %12.1f %12.1f\n", n, bytes, lib, raw, lib / raw,
             bytes / lib * 1e9 / 1e6, bytes / raw * 1e9 / 1e6);
    }
    printf("(medians over repetitions; ratio = library / raw time per document)\n");
  }

 private:
  std::map<long long, std::vector<double>> library_;
  std::map<long long, std::vector<double>> raw_;
};

long peak_rss_kib() {
  struct rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

// The kernel's own high-water mark of this address space, as a cross-check.
long vm_hwm_kib() {
  FILE* f = fopen("/proc/self/status", "r");
  if (!f) return -1;
  char line[256];
  long kib = -1;
  while (fgets(line, sizeof line, f))
    if (strncmp(line, "VmHWM:", 6) == 0) kib = atol(line + 6);
  fclose(f);
  return kib;
}

int rss_only() {
  long const start = peak_rss_kib();
  std::unique_ptr<Backup_Set> set = make_set(1000000);
  long const built = peak_rss_kib();
  yajl_gen g = yajl_gen_alloc(nullptr);
  bool const ok = set->generate(g);
  unsigned char const* buf = nullptr;
  size_t len = 0;
  yajl_gen_get_buf(g, &buf, &len);
  long const generated = peak_rss_kib();
  long const hwm = vm_hwm_kib();
  yajl_gen_free(g);
  if (!ok) {
    fprintf(stderr, "generate failed\n");
    return 1;
  }
  printf("peak RSS (getrusage ru_maxrss), one 1,000,000-piece document:\n");
  printf("  at start                 %8ld KiB\n", start);
  printf("  after building the set   %8ld KiB  (+%ld KiB for the record)\n", built, built - start);
  printf("  after generate           %8ld KiB  (+%ld KiB while writing; VmHWM %ld KiB)\n", generated,
         generated - built, hwm);
  printf("  document                 %8zu KiB  (%zu bytes)\n", len / 1024, len);
  printf("  growth / document size   %8.2f\n",
         static_cast<double>(generated - built) * 1024.0 / static_cast<double>(len));
  return 0;
}

// The RSS run needs a small fresh process. Linux carries the old address
// space's peak over an exec, so the child is started before this process
// builds anything big; its report is kept and printed after the table.
std::string run_rss_child() {
  int fds[2];
  if (pipe(fds) != 0) return "pipe failed\n";
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
  posix_spawn_file_actions_addclose(&actions, fds[0]);
  char self[] = "/proc/self/exe";
  char flag[] = "--rss-only";
  char* argv[] = {self, flag, nullptr};
  fflush(stdout);
  pid_t pid;
  int const rc = posix_spawn(&pid, "/proc/self/exe", &actions, nullptr, argv, environ);
  posix_spawn_file_actions_destroy(&actions);
  close(fds[1]);
  std::string out;
  if (rc == 0) {
    char buf[4096];
    ssize_t n;
    while ((n = read(fds[0], buf, sizeof buf)) > 0) out.append(buf, static_cast<size_t>(n));
    int status = 0;
    waitpid(pid, &status, 0);
  } else {
    out = "could not start the RSS run\n";
  }
  close(fds[0]);
  return out;
}

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i)
    if (strcmp(argv[i], "--rss-only") == 0) return rss_only();
  std::string const rss_report = run_rss_child();

  // Both writers must make the very same bytes, or the comparison means nothing.
  for (long long n : SIZES) {
    Backup_Set& set = set_of(n);
    std::string const lib = library_text(set);
    std::string const raw = raw_text(set);
    if (lib.empty() || lib != raw) {
      fprintf(stderr, "library and raw documents differ at %lld pieces (%zu vs %zu bytes)\n", n, lib.size(),
              raw.size());
      std::abort();
    }
    document_bytes[n] = lib.size();
  }

  for (char const* kind : {"library", "raw"}) {
    auto* b = benchmark::RegisterBenchmark((std::string("generate/") + kind).c_str(),
                                           kind[0] == 'l' ? BM_Library : BM_Raw);
    for (long long n : SIZES) b->Arg(n);
    b->Unit(benchmark::kNanosecond)->Repetitions(5)->UseRealTime();
  }

  // Interleave repetitions of the two writers so that a busy machine tilts
  // neither side; the caller's own flags still win.
  std::vector<char*> args(argv, argv + argc);
  static char interleave[] = "--benchmark_enable_random_interleaving=true";
  args.insert(args.begin() + 1, interleave);
  int count = static_cast<int>(args.size());
  benchmark::Initialize(&count, args.data());
  if (benchmark::ReportUnrecognizedArguments(count, args.data())) return 1;

  Collecting_Reporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  reporter.print_table();
  printf("\n%s", rss_report.c_str());
  return 0;
}
