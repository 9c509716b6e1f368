// Paging and browsing of the catalogue views ("sets", "pieces", "children",
// "path"), read straight from Catalog_Store and through the HTTP service,
// on both engines. Expected answers are worked out here from what the test
// committed, never read back from the catalogue.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <httplib.h>

#include "backup/backup_set/common/backup_set_state.h"
#include "platform/json/json_text.h"
#include "platform/sql/sql.h"
#include "platform/sql/uuid_binary.h"
#include "schema/catalog_schema.h"
#include "server/catalog_server.h"
#include "server/catalog_store.h"
#include "server/page_cursor.h"
#include "tests/server/catalog_target.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

// ---------------------------------------------------------------------------
// Sets as the test knows them.

struct Storage {
  std::string pool;
  long long size = 0;
  std::vector<std::string> state;
  std::string upstream;  // "" when none
};

struct Set_Spec {
  std::string uuid;
  std::string time;  // backup_start_time, "" when the set has none
  std::string name = "set";
  std::string host = "00000000-0000-4000-8000-0000000000f1";
  std::string resource = "00000000-0000-4000-8000-0000000000e1";
  std::string module = "file";
  bool has_module = true;
  std::vector<Storage> storages;
};

uint64_t mix(uint64_t x) {
  x += 0x9e3779b97f4a7c15ULL;
  x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9ULL;
  x = (x ^ (x >> 27)) * 0x94d049bb133111ebULL;
  return x ^ (x >> 31);
}

// A UUID whose order has nothing to do with n.
std::string scattered_uuid(uint64_t n) {
  uint64_t a = mix(n * 2 + 1), b = mix(n * 2 + 2);
  char text[40];
  std::snprintf(text, sizeof text, "%08x-%04x-4%03x-8%03x-%012llx", static_cast<unsigned>(a >> 32),
                static_cast<unsigned>((a >> 16) & 0xffff), static_cast<unsigned>(a & 0xfff),
                static_cast<unsigned>(b >> 52), static_cast<unsigned long long>(b & 0xffffffffffffULL));
  return text;
}

std::string time_at(int minutes) {
  char text[32];
  std::snprintf(text, sizeof text, "2024-03-%02d %02d:%02d:00", 1 + minutes / (24 * 60), (minutes / 60) % 24,
                minutes % 60);
  return text;
}

// The view's order: newest first, the same second by uuid, sets without a
// start time last by uuid.
bool listed_before(Set_Spec const& a, Set_Spec const& b) {
  bool at = !a.time.empty(), bt = !b.time.empty();
  if (at != bt) return at;
  if (at && a.time != b.time) return a.time > b.time;
  return a.uuid < b.uuid;
}

std::vector<std::string> uuids_in_order(std::vector<Set_Spec> sets) {
  std::sort(sets.begin(), sets.end(), listed_before);
  std::vector<std::string> out;
  for (auto const& s : sets) out.push_back(s.uuid);
  return out;
}

Value set_document(Set_Spec const& s, Array const* pieces = nullptr) {
  Object o;
  o["uuid"] = s.uuid;
  o["name"] = s.name;
  o["host_uuid"] = s.host;
  o["resource_uuid"] = s.resource;
  if (s.has_module) o["catalog_module"] = s.module;
  if (!s.time.empty()) o["backup_start_time"] = s.time;
  o["size"] = 10;
  Array storages;
  for (Storage const& st : s.storages) {
    Object so;
    so["pool_uuid"] = st.pool;
    so["size"] = st.size;
    Array state;
    for (auto const& n : st.state) state.push_back(Value(n));
    so["state"] = Value(state);
    if (!st.upstream.empty()) so["upstream_pool_uuid"] = st.upstream;
    storages.push_back(Value(so));
  }
  o["storages"] = Value(storages);
  if (pieces) o["pieces"] = Value(*pieces);
  return Value(o);
}

// ---------------------------------------------------------------------------
// Pieces as the test knows them.

struct Piece_Spec {
  std::string path;
  long long size = 0;
  std::string object;
  Value attrs;  // null when the piece has none
};

Array piece_array(std::vector<Piece_Spec> const& pieces) {
  Array out;
  for (Piece_Spec const& p : pieces) {
    Object o;
    o["path"] = p.path;
    o["size"] = p.size;
    if (!p.object.empty()) o["object"] = p.object;
    if (!p.attrs.is_null()) o["extended_attrs"] = p.attrs;
    out.push_back(Value(o));
  }
  return out;
}

// The directory a path is in, and every directory above it: a directory is
// a prefix of the path ending right before a '/' that is not its first
// character. Worked out here on its own, not by the server's helper.
std::string parent_of(std::string const& path) {
  size_t at = path.size();
  while (at > 0 && path[at - 1] != '/') --at;
  return at == 0 ? std::string() : path.substr(0, at - 1);
}

std::string last_name(std::string const& path) {
  size_t at = path.size();
  while (at > 0 && path[at - 1] != '/') --at;
  return path.substr(at);
}

std::vector<std::string> dirs_above(std::string const& path) {
  std::vector<std::string> out;
  for (size_t i = 1; i < path.size(); ++i)
    if (path[i] == '/') out.push_back(path.substr(0, i));
  return out;
}

struct Dir_Total {
  long long pieces = 0, size = 0;
};

std::map<std::string, Dir_Total> dir_totals(std::vector<Piece_Spec> const& pieces) {
  std::map<std::string, Dir_Total> out;
  for (Piece_Spec const& p : pieces)
    for (std::string const& d : dirs_above(p.path)) {
      out[d].pieces += 1;
      out[d].size += p.size;
    }
  return out;
}

// One entry of a "children" listing as the test expects it.
struct Entry {
  bool dir;
  std::string path;
  size_t index;  // a file's place among the committed pieces
  Dir_Total total;
};

// The entries right inside `dir`: directories whose parent is `dir`, pieces
// whose directory is `dir`; by path, a directory before a piece of the same
// path, pieces of one path in the order they were committed.
std::vector<Entry> expected_children(std::vector<Piece_Spec> const& pieces, std::string const& dir) {
  std::vector<Entry> out;
  for (auto const& d : dir_totals(pieces))
    if (parent_of(d.first) == dir) out.push_back({true, d.first, 0, d.second});
  for (size_t i = 0; i < pieces.size(); ++i)
    if (parent_of(pieces[i].path) == dir) out.push_back({false, pieces[i].path, i, {}});
  std::stable_sort(out.begin(), out.end(), [](Entry const& a, Entry const& b) {
    if (a.path != b.path) return a.path < b.path;
    if (a.dir != b.dir) return a.dir;
    return a.index < b.index;
  });
  return out;
}

std::string dump(Value const& v) { return JSON_Dump(v); }

std::string text_of(Object const& o, char const* key) {
  auto it = o.find(key);
  return it != o.end() && it->second.type() == json_spirit::str_type ? it->second.get_str() : "<missing " +
                                                                                                   std::string(key) + ">";
}

// ---------------------------------------------------------------------------

class Catalog_Paging_Test : public ::testing::TestWithParam<Catalog_Target::Engine> {
 protected:
  Catalog_Paging_Test() : target_(GetParam()) {}

  void SetUp() override {
    std::string error;
    ASSERT_TRUE(target_.prepare(error)) << error;
    open_store();
  }

  void TearDown() override {
    client_.reset();
    server_.reset();
    store_.reset();
  }

  void open_store() {
    std::string error;
    store_ = Catalog_Store::open(target_.db(), error);
    ASSERT_TRUE(store_) << error;
  }

  void start_server() {
    Server_Options options;
    options.listen = "127.0.0.1";
    options.port = 0;
    options.db = target_.db();
    server_ = std::make_unique<Catalog_Server>(options);
    std::string error;
    ASSERT_TRUE(server_->start(error)) << error;
    client_ = std::make_unique<httplib::Client>("127.0.0.1", server_->port());
  }

  void commit(Set_Spec const& s, Array const* pieces = nullptr) {
    Catalog_Error error;
    ASSERT_TRUE(store_->commit(set_document(s, pieces), error)) << error.message;
  }

  void commit_all(std::vector<Set_Spec> const& sets) {
    for (auto const& s : sets) {
      commit(s);
      if (HasFatalFailure()) return;
    }
  }

  // One page of a view that must be answered.
  Object page(std::string const& view, Object const& params) {
    Value result;
    Catalog_Error error;
    bool ok = store_->select("backup_set", view, params, result, error);
    EXPECT_TRUE(ok) << view << " " << dump(Value(params)) << ": " << error.message;
    if (!ok || result.type() != json_spirit::obj_type) return Object();
    return result.get_obj();
  }

  // A request the view must refuse; the error it gave.
  Catalog_Error refusal(std::string const& view, Object const& params) {
    Value result;
    Catalog_Error error;
    EXPECT_FALSE(store_->select("backup_set", view, params, result, error)) << dump(result);
    return error;
  }

  void expect_invalid(std::string const& view, Object const& params, std::string const& param) {
    Catalog_Error e = refusal(view, params);
    EXPECT_EQ(Catalog_Error::INVALID_PARAMS, e.code) << dump(Value(params)) << ": " << e.message;
    EXPECT_EQ(0u, e.message.rfind(param + ":", 0)) << dump(Value(params)) << ": " << e.message;
  }

  // Every page of a view from the start, following "next"; `sizes` gets the
  // size of each page. The last page must come without "next".
  Array all_pages(std::string const& view, Object params, std::vector<size_t>* sizes = nullptr) {
    Array rows;
    for (int guard = 0; guard < 100000; ++guard) {
      Object p = page(view, params);
      if (!p.count("rows")) {
        ADD_FAILURE() << "no rows in the answer";
        return rows;
      }
      Array const& got = p.at("rows").get_array();
      if (sizes) sizes->push_back(got.size());
      rows.insert(rows.end(), got.begin(), got.end());
      if (!p.count("next")) return rows;
      EXPECT_FALSE(got.empty()) << "a page with \"next\" but no rows";
      params["cursor"] = p.at("next");
    }
    ADD_FAILURE() << "pages never ended";
    return rows;
  }

  static std::vector<std::string> uuids(Array const& rows) {
    std::vector<std::string> out;
    for (Value const& r : rows) out.push_back(text_of(r.get_obj(), "uuid"));
    return out;
  }

  long long count(std::string const& text) {
    auto c = target_.connect();
    Value v;
    EXPECT_TRUE(c->query_value(SQL(text), v)) << c->last_error();
    return v.type() == json_spirit::int_type ? v.get_int64() : -1;
  }

  // -- HTTP --------------------------------------------------------------

  // The "result" of a JSON-RPC select, or the "error" object when refused.
  Value rpc_select(std::string const& view, Object const& params, bool want_error = false) {
    Object call;
    call["jsonrpc"] = "2.0";
    call["method"] = "backup_set.select";
    call["id"] = 7;
    Object p;
    p["module"] = "backup_set";
    p["view"] = view;
    p["param"] = Value(params);
    call["params"] = Value(p);
    auto res = client_->Post("/rpc", dump(Value(call)), "application/json");
    EXPECT_TRUE(res);
    if (!res) return Value();
    EXPECT_EQ(200, res->status) << res->body;
    Value answer;
    EXPECT_TRUE(JSON_Parse(res->body, answer)) << res->body;
    if (answer.type() != json_spirit::obj_type) return Value();
    char const* key = want_error ? "error" : "result";
    EXPECT_TRUE(answer.get_obj().count(key)) << res->body;
    return answer.get_obj().count(key) ? answer.get_obj().at(key) : Value();
  }

  // A REST select: status and parsed body. Parameters go as query text.
  std::pair<int, Value> rest_select(std::string const& view, std::map<std::string, std::string> const& params) {
    httplib::Params query;
    query.emplace("module", "backup_set");
    query.emplace("view", view);
    for (auto const& p : params) query.emplace(p.first, p.second);
    auto res = client_->Get("/d2/r/v2/sets/select", query, httplib::Headers());
    EXPECT_TRUE(res);
    if (!res) return {-1, Value()};
    Value body;
    EXPECT_TRUE(JSON_Parse(res->body, body)) << res->body;
    return {res->status, body};
  }

  // Every page through JSON-RPC, then through REST; both must give `want`.
  void expect_same_over_http(std::string const& view, Object const& params, Array const& want) {
    Array rpc_rows;
    Object p = params;
    for (int guard = 0; guard < 10000; ++guard) {
      Value r = rpc_select(view, p);
      if (r.type() != json_spirit::obj_type) return;
      Array const& got = r.get_obj().at("rows").get_array();
      rpc_rows.insert(rpc_rows.end(), got.begin(), got.end());
      if (!r.get_obj().count("next")) break;
      p["cursor"] = r.get_obj().at("next");
    }
    EXPECT_TRUE(Value(want) == Value(rpc_rows)) << "JSON-RPC pages differ";

    std::map<std::string, std::string> q;
    for (auto const& m : params)
      q[m.first] = m.second.type() == json_spirit::str_type ? m.second.get_str() : dump(m.second);
    Array rest_rows;
    for (int guard = 0; guard < 10000; ++guard) {
      auto r = rest_select(view, q);
      EXPECT_EQ(200, r.first) << dump(r.second);
      if (r.first != 200 || r.second.type() != json_spirit::obj_type) return;
      Array const& got = r.second.get_obj().at("rows").get_array();
      rest_rows.insert(rest_rows.end(), got.begin(), got.end());
      if (!r.second.get_obj().count("next")) break;
      q["cursor"] = r.second.get_obj().at("next").get_str();
    }
    EXPECT_TRUE(Value(want) == Value(rest_rows)) << "REST pages differ";
  }

  Catalog_Target target_;
  std::unique_ptr<Catalog_Store> store_;
  std::unique_ptr<Catalog_Server> server_;
  std::unique_ptr<httplib::Client> client_;
};

Object params(std::initializer_list<std::pair<char const*, Value>> members) {
  Object o;
  for (auto const& m : members) o[m.first] = m.second;
  return o;
}

// n sets; one in `untimed_every` has no start time, the others share
// `distinct_times` start times.
std::vector<Set_Spec> make_sets(int first, int n, int distinct_times, int untimed_every) {
  std::vector<Set_Spec> out;
  for (int i = first; i < first + n; ++i) {
    Set_Spec s;
    s.uuid = scattered_uuid(static_cast<uint64_t>(i));
    if (untimed_every <= 0 || i % untimed_every != 0) s.time = time_at(static_cast<int>(mix(i) % distinct_times) * 7);
    s.name = "set " + std::to_string(i);
    out.push_back(s);
  }
  return out;
}

}  // namespace

// ---------------------------------------------------------------------------
// "sets"

TEST_P(Catalog_Paging_Test, SetPagesCoverEverySetOnceInListingOrder) {
  // 2,400 timed sets over 40 start times, then 100 without one: with pages
  // of 300 the timed ones end exactly at a page boundary.
  std::vector<Set_Spec> sets = make_sets(0, 2400, 40, 0);
  std::vector<Set_Spec> untimed = make_sets(5000, 100, 1, 1);
  sets.insert(sets.end(), untimed.begin(), untimed.end());
  commit_all(sets);
  if (HasFatalFailure()) return;
  std::vector<std::string> want = uuids_in_order(sets);

  std::vector<size_t> sizes;
  Array rows = all_pages("sets", params({{"limit", 300}}), &sizes);
  EXPECT_EQ(want, uuids(rows));
  EXPECT_EQ((std::vector<size_t>{300, 300, 300, 300, 300, 300, 300, 300, 100}), sizes);

  // Pages that end inside a run of equal start times and cross from the
  // timed sets into the others mid-page.
  sizes.clear();
  rows = all_pages("sets", params({{"limit", 333}}), &sizes);
  EXPECT_EQ(want, uuids(rows));
  EXPECT_EQ((std::vector<size_t>{333, 333, 333, 333, 333, 333, 333, 169}), sizes);

  // A page as large as the whole listing has no "next"; one row fewer has.
  Object whole = page("sets", params({{"limit", 2500}}));
  EXPECT_EQ(2500u, whole.at("rows").get_array().size());
  EXPECT_FALSE(whole.count("next"));
  Object almost = page("sets", params({{"limit", 2499}}));
  EXPECT_EQ(2499u, almost.at("rows").get_array().size());
  ASSERT_TRUE(almost.count("next"));
  Object rest = page("sets", params({{"cursor", almost.at("next")}, {"limit", 10}}));
  EXPECT_EQ(std::vector<std::string>{want.back()}, uuids(rest.at("rows").get_array()));
  EXPECT_FALSE(rest.count("next"));

  // Without a limit a page holds 1000 sets.
  Object first = page("sets", Object());
  EXPECT_EQ(1000u, first.at("rows").get_array().size());
  EXPECT_TRUE(first.count("next"));
}

TEST_P(Catalog_Paging_Test, SetPagesWithSmallLimitsCrossEqualTimesAndTheUntimedSets) {
  // Few start times, so many sets share each; one set in four has none.
  std::vector<Set_Spec> sets = make_sets(0, 97, 3, 4);
  commit_all(sets);
  if (HasFatalFailure()) return;
  std::vector<std::string> want = uuids_in_order(sets);
  for (int limit : {1, 2, 7, 24, 96, 97, 98}) {
    SCOPED_TRACE("limit " + std::to_string(limit));
    std::vector<size_t> sizes;
    EXPECT_EQ(want, uuids(all_pages("sets", params({{"limit", limit}}), &sizes)));
    EXPECT_EQ(static_cast<size_t>((97 + limit - 1) / limit), sizes.size());
  }
  // Only untimed sets at all.
  std::vector<Set_Spec> none = make_sets(1000, 5, 1, 1);
  // (they join the others and come last)
  commit_all(none);
  sets.insert(sets.end(), none.begin(), none.end());
  EXPECT_EQ(uuids_in_order(sets), uuids(all_pages("sets", params({{"limit", 4}}))));
}

TEST_P(Catalog_Paging_Test, SetPagesStayExactWhileSetsAreCommittedBetweenReads) {
  std::vector<Set_Spec> original = make_sets(0, 600, 30, 9);
  commit_all(original);
  if (HasFatalFailure()) return;
  std::set<std::string> originals;
  for (auto const& s : original) originals.insert(s.uuid);

  std::vector<Set_Spec> all = original;
  std::map<std::string, Set_Spec> by_uuid;
  for (auto const& s : original) by_uuid[s.uuid] = s;
  // Each new set with the last row listed when it was committed.
  std::vector<std::pair<Set_Spec, std::string>> added_after;
  Array rows;
  Object p = params({{"limit", 45}});
  int added = 0;
  for (int guard = 0; guard < 1000; ++guard) {
    Object got = page("sets", p);
    ASSERT_TRUE(got.count("rows"));
    Array const& r = got.at("rows").get_array();
    rows.insert(rows.end(), r.begin(), r.end());
    if (!got.count("next")) break;
    ASSERT_FALSE(r.empty());
    p["cursor"] = got.at("next");
    // New sets before, at and after the page's last key, some untimed.
    std::vector<Set_Spec> fresh = make_sets(100000 + added, 12, 30, 5);
    added += 12;
    commit_all(fresh);
    if (HasFatalFailure()) return;
    for (auto const& s : fresh) {
      by_uuid[s.uuid] = s;
      added_after.emplace_back(s, text_of(r.back().get_obj(), "uuid"));
    }
    all.insert(all.end(), fresh.begin(), fresh.end());
  }
  std::vector<std::string> seen = uuids(rows);
  std::map<std::string, int> times;
  for (auto const& u : seen) ++times[u];
  for (auto const& t : times) { EXPECT_EQ(1, t.second) << t.first << " listed more than once"; }
  for (auto const& u : originals) { EXPECT_EQ(1u, times.count(u)) << u << " was skipped"; }
  // A new set shows exactly when it sorts after the page read before it
  // was committed.
  int shown = 0;
  for (auto const& a : added_after) {
    bool after_cursor = listed_before(by_uuid.at(a.second), a.first);
    EXPECT_EQ(after_cursor ? 1u : 0u, times.count(a.first.uuid)) << a.first.uuid << " '" << a.first.time << "'";
    shown += after_cursor;
  }
  EXPECT_GT(shown, 0);
  // What was listed is in the listing order of everything stored.
  std::map<std::string, size_t> rank;
  std::vector<std::string> order = uuids_in_order(all);
  for (size_t i = 0; i < order.size(); ++i) rank[order[i]] = i;
  for (size_t i = 1; i < seen.size(); ++i) { EXPECT_LT(rank.at(seen[i - 1]), rank.at(seen[i])) << i; }
}

TEST_P(Catalog_Paging_Test, AnOldCursorStillWorksAfterMoreCommits) {
  std::vector<Set_Spec> sets = make_sets(0, 300, 20, 6);
  commit_all(sets);
  if (HasFatalFailure()) return;
  std::vector<std::string> before = uuids_in_order(sets);
  Object first = page("sets", params({{"limit", 40}}));
  ASSERT_TRUE(first.count("next"));
  Value cursor = first.at("next");
  Object second = page("sets", params({{"limit", 40}, {"cursor", cursor}}));
  EXPECT_EQ(std::vector<std::string>(before.begin() + 40, before.begin() + 80), uuids(second.at("rows").get_array()));

  std::vector<Set_Spec> more = make_sets(7000, 150, 20, 6);
  commit_all(more);
  if (HasFatalFailure()) return;
  sets.insert(sets.end(), more.begin(), more.end());
  std::vector<std::string> after = uuids_in_order(sets);
  // The same cursor goes on right after the 40th set of the first listing,
  // now with the new sets that sort after it.
  size_t from = std::find(after.begin(), after.end(), before[39]) - after.begin() + 1;
  ASSERT_LE(from, after.size());
  Object again = page("sets", params({{"limit", 40}, {"cursor", cursor}}));
  EXPECT_EQ(std::vector<std::string>(after.begin() + from, after.begin() + std::min(after.size(), from + 40)),
            uuids(again.at("rows").get_array()));
  // And followed to the end it lists exactly the rest.
  Array rest = all_pages("sets", params({{"limit", 64}, {"cursor", cursor}}));
  EXPECT_EQ(std::vector<std::string>(after.begin() + from, after.end()), uuids(rest));
}

TEST_P(Catalog_Paging_Test, EachFilterListsExactlyTheMatchingSets) {
  std::vector<std::string> hosts = {"10000000-0000-4000-8000-000000000001", "10000000-0000-4000-8000-000000000002",
                                    "10000000-0000-4000-8000-000000000003"};
  std::vector<std::string> resources = {"20000000-0000-4000-8000-000000000001", "20000000-0000-4000-8000-000000000002",
                                        "20000000-0000-4000-8000-000000000003",
                                        "20000000-0000-4000-8000-000000000004"};
  std::vector<std::string> names = {"alpha", "beta", "gamma", "delta", "eps'ilon"};
  std::vector<Set_Spec> sets = make_sets(0, 240, 48, 11);
  for (size_t i = 0; i < sets.size(); ++i) {
    sets[i].host = hosts[mix(i + 1) % hosts.size()];
    sets[i].resource = resources[mix(i + 2) % resources.size()];
    sets[i].name = names[mix(i + 3) % names.size()];
    switch (mix(i + 4) % 3) {
      case 0: sets[i].module = "file"; break;
      case 1: sets[i].module = "vmware"; break;
      default: sets[i].has_module = false; sets[i].module = "";
    }
  }
  commit_all(sets);
  if (HasFatalFailure()) return;

  auto expect_filter = [&](Object const& filter, std::function<bool(Set_Spec const&)> const& match) {
    std::vector<Set_Spec> matching;
    for (auto const& s : sets)
      if (match(s)) matching.push_back(s);
    ASSERT_FALSE(matching.empty()) << dump(Value(filter));
    Object p = filter;
    p["limit"] = 13;
    EXPECT_EQ(uuids_in_order(matching), uuids(all_pages("sets", p))) << dump(Value(filter));
  };
  for (auto const& h : hosts)
    expect_filter(params({{"host_uuid", h}}), [&](Set_Spec const& s) { return s.host == h; });
  for (auto const& r : resources)
    expect_filter(params({{"resource_uuid", r}}), [&](Set_Spec const& s) { return s.resource == r; });
  for (auto const& n : names) expect_filter(params({{"name", n}}), [&](Set_Spec const& s) { return s.name == n; });
  for (std::string m : {"file", "vmware"})
    expect_filter(params({{"catalog_module", m}}), [&](Set_Spec const& s) { return s.module == m; });
  // Present and "" selects the sets stored without a module name.
  expect_filter(params({{"catalog_module", ""}}), [&](Set_Spec const& s) { return !s.has_module; });
  // Start time in [since, until); a set without one matches neither.
  std::string since = time_at(10 * 7), until = time_at(30 * 7);
  expect_filter(params({{"since", since}}), [&](Set_Spec const& s) { return !s.time.empty() && s.time >= since; });
  expect_filter(params({{"until", until}}), [&](Set_Spec const& s) { return !s.time.empty() && s.time < until; });
  expect_filter(params({{"since", since}, {"until", until}}),
                [&](Set_Spec const& s) { return !s.time.empty() && s.time >= since && s.time < until; });
  expect_filter(params({{"host_uuid", hosts[1]}, {"catalog_module", "file"}, {"since", since}}),
                [&](Set_Spec const& s) {
                  return s.host == hosts[1] && s.module == "file" && !s.time.empty() && s.time >= since;
                });
  expect_filter(params({{"uuid", sets[17].uuid}}), [&](Set_Spec const& s) { return s.uuid == sets[17].uuid; });
  // A value nothing has gives an empty last page.
  Object none = page("sets", params({{"name", "nobody"}}));
  EXPECT_TRUE(none.at("rows").get_array().empty());
  EXPECT_FALSE(none.count("next"));
  Object unused_host = page("sets", params({{"host_uuid", "10000000-0000-4000-8000-0000000000ff"}}));
  EXPECT_TRUE(unused_host.at("rows").get_array().empty());

  // The same filter through both transports.
  start_server();
  if (HasFatalFailure()) return;
  Object filter = params({{"host_uuid", hosts[2]}, {"limit", 9}});
  expect_same_over_http("sets", filter, all_pages("sets", filter));
}

TEST_P(Catalog_Paging_Test, EveryRowCarriesTheStoragesItWasCommittedWith) {
  std::vector<Set_Spec> sets = make_sets(0, 31, 5, 7);
  std::vector<std::vector<std::string>> states = {
      {"online"}, {"offline", "replicated"}, {}, {"nearline", "expired"}, {"warmup", "incomplete", "unsync"}};
  for (size_t i = 0; i < sets.size(); ++i) {
    for (size_t k = 0; k < i % 4; ++k) {
      Storage st;
      char pool[40];
      std::snprintf(pool, sizeof pool, "aaaaaaaa-0000-4000-8000-%012zx", (i * 16 + (3 - k)) % 4096);
      st.pool = pool;
      st.size = static_cast<long long>(i * 1000 + k);
      st.state = states[(i + k) % states.size()];
      if (k > 0) st.upstream = sets[i].storages[0].pool;
      sets[i].storages.push_back(st);
    }
  }
  commit_all(sets);
  if (HasFatalFailure()) return;
  std::map<std::string, Set_Spec const*> by_uuid;
  for (auto const& s : sets) by_uuid[s.uuid] = &s;

  Array rows = all_pages("sets", params({{"limit", 4}}));
  ASSERT_EQ(sets.size(), rows.size());
  for (Value const& row : rows) {
    Object const& o = row.get_obj();
    Set_Spec const& s = *by_uuid.at(text_of(o, "uuid"));
    SCOPED_TRACE(s.uuid);
    EXPECT_EQ(s.name, text_of(o, "name"));
    EXPECT_EQ(s.host, text_of(o, "host_uuid"));
    EXPECT_EQ(s.resource, text_of(o, "resource_uuid"));
    if (s.time.empty())
      EXPECT_TRUE(o.at("backup_start_time").is_null());
    else
      EXPECT_EQ(s.time, text_of(o, "backup_start_time"));
    ASSERT_TRUE(o.count("storages")) << dump(row);
    Array const& got = o.at("storages").get_array();
    ASSERT_EQ(s.storages.size(), got.size()) << dump(row);
    for (size_t k = 0; k < got.size(); ++k) {
      Object const& g = got[k].get_obj();
      Storage const& w = s.storages[k];
      EXPECT_EQ(w.pool, text_of(g, "pool_uuid"));
      EXPECT_EQ(w.size, g.at("size").get_int64());
      ASSERT_EQ(json_spirit::array_type, g.at("state").type()) << dump(got[k]);
      EXPECT_EQ(Backup_Set_State(w.state).bits(), Backup_Set_State(g.at("state").get_array()).bits())
          << dump(got[k]);
      if (w.upstream.empty())
        EXPECT_TRUE(!g.count("upstream_pool_uuid") || g.at("upstream_pool_uuid").is_null()) << dump(got[k]);
      else
        EXPECT_EQ(w.upstream, text_of(g, "upstream_pool_uuid"));
    }
  }
}

TEST_P(Catalog_Paging_Test, BadPagingParametersAreRefusedNamingTheParameter) {
  commit_all(make_sets(0, 5, 2, 0));
  if (HasFatalFailure()) return;
  Object first = page("sets", params({{"limit", 2}}));
  ASSERT_TRUE(first.count("next"));
  Value next = first.at("next");

  expect_invalid("sets", params({{"cursor", "zz"}}), "cursor");
  expect_invalid("sets", params({{"cursor", "abc"}}), "cursor");
  expect_invalid("sets", params({{"cursor", "0123456789abcdef"}}), "cursor");
  expect_invalid("sets", params({{"cursor", next.get_str().substr(0, next.get_str().size() - 2)}}), "cursor");
  expect_invalid("sets", params({{"cursor", next.get_str() + "00"}}), "cursor");
  // Another view's cursor, or a sets cursor whose key is not a set's.
  expect_invalid("sets", params({{"cursor", Page_Cursor::encode("pieces", {"/a", "1"})}}), "cursor");
  expect_invalid("sets", params({{"cursor", Page_Cursor::encode("children:", {"/a", "dir", "0"})}}), "cursor");
  expect_invalid("sets", params({{"cursor", Page_Cursor::encode("sets", {"X", "2024-03-01 00:00:00",
                                                                          scattered_uuid(1)})}}),
                 "cursor");
  expect_invalid("sets", params({{"cursor", Page_Cursor::encode("sets", {"T", "2024-03-01 00:00:00", "nope"})}}),
                 "cursor");
  expect_invalid("sets", params({{"cursor", 5}}), "cursor");
  expect_invalid("sets", params({{"cursor", next}, {"offset", 3}}), "offset");
  expect_invalid("sets", params({{"limit", 0}}), "limit");
  expect_invalid("sets", params({{"limit", 10001}}), "limit");
  expect_invalid("sets", params({{"limit", -1}}), "limit");
  expect_invalid("sets", params({{"limit", "ten"}}), "limit");
  expect_invalid("sets", params({{"since", "yesterday"}}), "since");
  expect_invalid("sets", params({{"until", "2024-13-01 00:00:00"}}), "until");
  expect_invalid("sets", params({{"host_uuid", "not-a-uuid"}}), "host_uuid");
  expect_invalid("sets", params({{"sort", "name"}}), "param");
  // The largest page is taken, and limit and offset as query text too.
  EXPECT_EQ(5u, page("sets", params({{"limit", 10000}})).at("rows").get_array().size());
  EXPECT_EQ(2u, page("sets", params({{"limit", "2"}, {"offset", "3"}})).at("rows").get_array().size());

  // The pieces views refuse the same way.
  std::string uuid = scattered_uuid(0);
  expect_invalid("pieces", params({{"uuid", uuid}, {"cursor", next}}), "cursor");
  expect_invalid("pieces", params({{"uuid", uuid}, {"limit", 0}}), "limit");
  expect_invalid("pieces", params({{"uuid", uuid}, {"limit", 10001}}), "limit");
  expect_invalid("pieces", params({{"uuid", uuid}, {"offset", 1}, {"cursor", Page_Cursor::encode("pieces", {"/a", "1"})}}),
                 "offset");
  expect_invalid("pieces", params({{"uuid", uuid}, {"cursor", Page_Cursor::encode("pieces", {"/a", "x1"})}}), "cursor");
  expect_invalid("pieces", Object(), "uuid");
  expect_invalid("children", params({{"uuid", uuid}, {"cursor", next}}), "cursor");
  expect_invalid("children", params({{"uuid", uuid}, {"limit", 10001}}), "limit");
  expect_invalid("children", params({{"uuid", uuid}, {"offset", 1}}), "param");
  expect_invalid("path", params({{"uuid", uuid}}), "path");
  expect_invalid("path", params({{"uuid", uuid}, {"path", "/a"}, {"limit", 3}}), "param");

  // Over HTTP: -32602 from JSON-RPC, 400 from REST, each naming the parameter.
  start_server();
  if (HasFatalFailure()) return;
  struct Case {
    Object param;
    std::map<std::string, std::string> query;
    std::string name;
  };
  std::vector<Case> cases = {
      {params({{"cursor", "zz"}}), {{"cursor", "zz"}}, "cursor"},
      {params({{"cursor", Page_Cursor::encode("pieces", {"/a", "1"})}}),
       {{"cursor", Page_Cursor::encode("pieces", {"/a", "1"})}},
       "cursor"},
      {params({{"cursor", next}, {"offset", 1}}), {{"cursor", next.get_str()}, {"offset", "1"}}, "offset"},
      {params({{"limit", 0}}), {{"limit", "0"}}, "limit"},
      {params({{"limit", 10001}}), {{"limit", "10001"}}, "limit"},
  };
  for (Case const& c : cases) {
    Value e = rpc_select("sets", c.param, true);
    ASSERT_EQ(json_spirit::obj_type, e.type());
    EXPECT_EQ(-32602, e.get_obj().at("code").get_int()) << dump(e);
    EXPECT_EQ(0u, e.get_obj().at("message").get_str().rfind(c.name + ":", 0)) << dump(e);
    auto r = rest_select("sets", c.query);
    EXPECT_EQ(400, r.first) << dump(r.second);
    ASSERT_EQ(json_spirit::obj_type, r.second.type());
    EXPECT_EQ(-32602, r.second.get_obj().at("code").get_int()) << dump(r.second);
    EXPECT_EQ(0u, r.second.get_obj().at("message").get_str().rfind(c.name + ":", 0)) << dump(r.second);
  }
}

TEST_P(Catalog_Paging_Test, AForgedSetsCursorWithATimeThatIsNoTimeIsRefusedAsACursor) {
  commit_all(make_sets(0, 5, 2, 0));
  if (HasFatalFailure()) return;
  // Clients pass "next" back untouched; a token that decodes but holds no
  // start time is still a bad parameter, not a failure of the catalogue.
  for (std::string time : {"yesterday", "not a time", "2024-03-01"}) {
    SCOPED_TRACE(time);
    expect_invalid("sets", params({{"cursor", Page_Cursor::encode("sets", {"T", time, scattered_uuid(1)})}}),
                   "cursor");
  }
}

TEST_P(Catalog_Paging_Test, SetsPagedOverJsonRpcAndRestMatchTheStore) {
  std::vector<Set_Spec> sets = make_sets(0, 57, 6, 5);
  sets[3].storages.push_back({"aaaaaaaa-0000-4000-8000-000000000003", 33, {"online"}, ""});
  commit_all(sets);
  if (HasFatalFailure()) return;
  Array direct = all_pages("sets", params({{"limit", 8}}));
  EXPECT_EQ(uuids_in_order(sets), uuids(direct));
  start_server();
  if (HasFatalFailure()) return;
  expect_same_over_http("sets", params({{"limit", 8}}), direct);
}

// ---------------------------------------------------------------------------
// "pieces"

std::vector<Piece_Spec> mixed_pieces(int n) {
  // Paths that sort differently by bytes than by any locale: case, '-', '.'
  // and '/' next to each other, multi-byte UTF-8, repeats.
  std::vector<std::string> stems = {"/a",   "/a/b", "/a-b", "/a.b", "/B",          "/b",
                                    "/Z",   "/z",   "/\xc3\xa9", "/e\xcc\x81", "/\xf0\x9f\x98\x80", "/~",
                                    "rel",  "",     "/a/b/c"};
  std::vector<Piece_Spec> out;
  for (int i = 0; i < n; ++i) {
    Piece_Spec p;
    p.path = stems[mix(i) % stems.size()];
    if (mix(i + 99) % 3 != 0) p.path += "/" + std::to_string(mix(i + 7) % 40);
    p.size = static_cast<long long>(i);
    out.push_back(p);
  }
  return out;
}

TEST_P(Catalog_Paging_Test, PiecePagesCoverEveryPieceOnceByPathThenId) {
  Set_Spec s;
  s.uuid = scattered_uuid(1);
  s.time = time_at(0);
  std::vector<Piece_Spec> pieces = mixed_pieces(700);
  Array doc = piece_array(pieces);
  commit(s, &doc);
  if (HasFatalFailure()) return;
  // Byte order of the path; pieces of one path in the order committed (the
  // size is each piece's place in the document).
  std::vector<size_t> order(pieces.size());
  for (size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::stable_sort(order.begin(), order.end(),
                   [&](size_t a, size_t b) { return pieces[a].path < pieces[b].path; });

  for (int limit : {1, 37, 699, 700, 10000}) {
    SCOPED_TRACE("limit " + std::to_string(limit));
    std::vector<size_t> sizes;
    Array rows = all_pages("pieces", params({{"uuid", s.uuid}, {"limit", limit}}), &sizes);
    ASSERT_EQ(pieces.size(), rows.size());
    EXPECT_EQ(static_cast<size_t>((700 + limit - 1) / limit), sizes.size());
    long long last_id = -1;
    std::string last_path;
    for (size_t i = 0; i < rows.size(); ++i) {
      Object const& r = rows[i].get_obj();
      Piece_Spec const& want = pieces[order[i]];
      ASSERT_EQ(want.path, text_of(r, "path")) << i;
      EXPECT_EQ(want.size, r.at("size").get_int64()) << i;
      long long id = r.at("id").get_int64();
      if (i > 0 && last_path == want.path) { EXPECT_LT(last_id, id) << i; }
      last_id = id;
      last_path = want.path;
    }
  }
  // Offset still pages when no cursor is given.
  Object off = page("pieces", params({{"uuid", s.uuid}, {"limit", 3}, {"offset", 5}}));
  ASSERT_EQ(3u, off.at("rows").get_array().size());
  for (size_t k = 0; k < 3; ++k)
    EXPECT_EQ(pieces[order[5 + k]].size, off.at("rows").get_array()[k].get_obj().at("size").get_int64());

  start_server();
  if (HasFatalFailure()) return;
  Object p = params({{"uuid", s.uuid}, {"limit", 150}});
  expect_same_over_http("pieces", p, all_pages("pieces", p));
}

TEST_P(Catalog_Paging_Test, PiecesOfOneSetOnlyAndNoneOfAStagedSet) {
  Set_Spec a, b;
  a.uuid = scattered_uuid(1);
  b.uuid = scattered_uuid(2);
  std::vector<Piece_Spec> pa = {{"/x", 1, "", Value()}, {"/y", 2, "", Value()}};
  std::vector<Piece_Spec> pb = {{"/x", 3, "", Value()}};
  Array da = piece_array(pa), db = piece_array(pb);
  commit(a, &da);
  commit(b, &db);
  Set_Spec staged;
  staged.uuid = scattered_uuid(3);
  Catalog_Error error;
  ASSERT_TRUE(store_->initialize(set_document(staged, &da), error)) << error.message;
  Array rows = all_pages("pieces", params({{"uuid", a.uuid}, {"limit", 1}}));
  ASSERT_EQ(2u, rows.size());
  EXPECT_EQ(1, rows[0].get_obj().at("size").get_int64());
  EXPECT_EQ(2, rows[1].get_obj().at("size").get_int64());
  EXPECT_TRUE(page("pieces", params({{"uuid", staged.uuid}})).at("rows").get_array().empty());
}

// ---------------------------------------------------------------------------
// "children" and "path"

std::vector<Piece_Spec> tree_pieces() {
  std::vector<Piece_Spec> p;
  auto add = [&](std::string path, long long size, std::string object = "") {
    Piece_Spec s;
    s.path = std::move(path);
    s.size = size;
    s.object = std::move(object);
    if (size % 3 == 0) {
      Object attrs;
      attrs["n"] = size;
      s.attrs = Value(attrs);
    }
    p.push_back(s);
  };
  add("/etc/passwd", 1);
  add("/etc/hosts", 2);
  add("/etc/ssh/sshd_config", 3);
  add("/etc/ssh/keys/a", 4);
  add("/etc/ssh/keys/b", 5);
  add("/etc/hosts", 6);  // the same path again
  for (int i = 0; i < 23; ++i) add("/home/u/file" + std::to_string(i), 100 + i);
  add("/home/u/docs/x.txt", 7);
  add("/home/u/docs/y.txt", 8);
  add("/home/u/docs", 9, "dir");  // a directory piece that also has pieces beneath
  add("/home/v", 10);
  add("/home/v", 11);
  add("/home/v/inner", 12);
  add("/home/u-old/z", 13);
  add("/home/u.bak", 14);
  add("/top.txt", 15);
  add("rel.txt", 16);
  add("rel/inner.txt", 17);
  add("/\xc3\xa9t\xc3\xa9/\xf0\x9f\x98\x80.txt", 18);
  add("/A/upper", 19);
  return p;
}

class Children_Test : public Catalog_Paging_Test {
 protected:
  void SetUp() override {
    Catalog_Paging_Test::SetUp();
    if (HasFatalFailure()) return;
    set_.uuid = scattered_uuid(42);
    set_.time = time_at(5);
    pieces_ = tree_pieces();
    Array doc = piece_array(pieces_);
    commit(set_, &doc);
    if (HasFatalFailure()) return;
    // Each piece's id, from the pieces view (by path, then id: the same
    // order as the document's among equal paths).
    Array rows = all_pages("pieces", params({{"uuid", set_.uuid}}));
    ASSERT_EQ(pieces_.size(), rows.size());
    std::vector<size_t> order(pieces_.size());
    for (size_t i = 0; i < order.size(); ++i) order[i] = i;
    std::stable_sort(order.begin(), order.end(),
                     [&](size_t a, size_t b) { return pieces_[a].path < pieces_[b].path; });
    ids_.resize(pieces_.size());
    for (size_t i = 0; i < rows.size(); ++i) ids_[order[i]] = rows[i].get_obj().at("id").get_int64();
  }

  // The rows must be exactly `want`, entry by entry.
  void expect_entries(std::vector<Entry> const& want, Array const& rows) {
    ASSERT_EQ(want.size(), rows.size()) << dump(Value(rows));
    for (size_t i = 0; i < want.size(); ++i) {
      Object const& r = rows[i].get_obj();
      Entry const& w = want[i];
      SCOPED_TRACE(std::to_string(i) + ": " + dump(rows[i]));
      EXPECT_EQ(w.dir ? "dir" : "file", text_of(r, "type"));
      EXPECT_EQ(w.path, text_of(r, "path"));
      EXPECT_EQ(last_name(w.path), text_of(r, "name"));
      if (w.dir) {
        EXPECT_EQ(w.total.pieces, r.at("pieces").get_int64());
        EXPECT_EQ(w.total.size, r.at("size").get_int64());
      } else {
        Piece_Spec const& p = pieces_[w.index];
        EXPECT_EQ(ids_[w.index], r.at("id").get_int64());
        EXPECT_EQ(p.size, r.at("size").get_int64());
        EXPECT_EQ(p.object, text_of(r, "object"));
        if (p.attrs.is_null())
          EXPECT_TRUE(r.at("extended_attrs").is_null());
        else
          EXPECT_TRUE(p.attrs == r.at("extended_attrs"));
      }
    }
  }

  Set_Spec set_;
  std::vector<Piece_Spec> pieces_;
  std::vector<long long> ids_;
};

TEST_P(Children_Test, EveryDirectoryListsExactlyItsEntries) {
  std::set<std::string> dirs = {""};
  for (auto const& d : dir_totals(pieces_)) dirs.insert(d.first);
  for (std::string const& dir : dirs) {
    SCOPED_TRACE("dir '" + dir + "'");
    std::vector<Entry> want = expected_children(pieces_, dir);
    ASSERT_FALSE(want.empty());
    for (int limit : {1, 2, 3, 5, 1000}) {
      SCOPED_TRACE("limit " + std::to_string(limit));
      std::vector<size_t> sizes;
      Array rows = all_pages("children", params({{"uuid", set_.uuid}, {"dir", dir}, {"limit", limit}}), &sizes);
      expect_entries(want, rows);
      EXPECT_EQ((want.size() + limit - 1) / limit, sizes.size());
    }
  }
}

TEST_P(Children_Test, TheRootHasThreeNamesAndATrailingSlashIsDropped) {
  std::vector<Entry> root = expected_children(pieces_, "");
  expect_entries(root, all_pages("children", params({{"uuid", set_.uuid}, {"limit", 4}})));
  expect_entries(root, all_pages("children", params({{"uuid", set_.uuid}, {"dir", "/"}, {"limit", 4}})));
  expect_entries(root, all_pages("children", params({{"uuid", set_.uuid}, {"dir", ""}, {"limit", 4}})));
  // A cursor of the root made with one name goes on with the other.
  Object first = page("children", params({{"uuid", set_.uuid}, {"dir", "/"}, {"limit", 2}}));
  ASSERT_TRUE(first.count("next"));
  Object second = page("children", params({{"uuid", set_.uuid}, {"cursor", first.at("next")}, {"limit", 2}}));
  expect_entries(std::vector<Entry>(root.begin() + 2, root.begin() + 4), second.at("rows").get_array());
  expect_entries(expected_children(pieces_, "/etc/ssh"),
                 all_pages("children", params({{"uuid", set_.uuid}, {"dir", "/etc/ssh/"}, {"limit", 2}})));
}

TEST_P(Children_Test, DirectoriesComeBeforeAPieceOfTheSamePath) {
  std::vector<Entry> home = expected_children(pieces_, "/home");
  Array rows = all_pages("children", params({{"uuid", set_.uuid}, {"dir", "/home"}, {"limit", 1}}));
  expect_entries(home, rows);
  // "/home/v" is a directory and two pieces; "/home/u-old" and "/home/u.bak"
  // sort before "/home/u/..." would, but "/home/u" itself comes first.
  std::vector<std::string> kinds;
  for (Value const& r : rows) kinds.push_back(text_of(r.get_obj(), "type") + " " + text_of(r.get_obj(), "name"));
  EXPECT_EQ((std::vector<std::string>{"dir u", "dir u-old", "file u.bak", "dir v", "file v", "file v"}), kinds);
  Object docs = page("children", params({{"uuid", set_.uuid}, {"dir", "/home/u"}, {"limit", 1000}}));
  bool dir_seen = false;
  for (Value const& r : docs.at("rows").get_array()) {
    Object const& o = r.get_obj();
    if (text_of(o, "path") != "/home/u/docs") continue;
    if (text_of(o, "type") == "dir") {
      dir_seen = true;
      EXPECT_EQ(2, o.at("pieces").get_int64());
      EXPECT_EQ(15, o.at("size").get_int64());
    } else {
      EXPECT_TRUE(dir_seen) << "the piece came before the directory";
      EXPECT_EQ("dir", text_of(o, "object"));
    }
  }
  EXPECT_TRUE(dir_seen);
}

TEST_P(Children_Test, MissingDirectoriesAndSetsAreNotFound) {
  for (std::string dir : {"/nope", "/etc/passwd", "/etc/ss", "etc", "/home/v/inner"}) {
    Catalog_Error e = refusal("children", params({{"uuid", set_.uuid}, {"dir", dir}}));
    EXPECT_EQ(Catalog_Error::NOT_FOUND, e.code) << dir << ": " << e.message;
    EXPECT_EQ(0u, e.message.rfind("dir:", 0)) << e.message;
  }
  std::string unknown = scattered_uuid(9999);
  EXPECT_EQ(Catalog_Error::NOT_FOUND, refusal("children", params({{"uuid", unknown}})).code);
  EXPECT_EQ(Catalog_Error::NOT_FOUND, refusal("path", params({{"uuid", unknown}, {"path", "/etc"}})).code);

  // A staged set shows nothing until it is complete.
  Set_Spec staged;
  staged.uuid = scattered_uuid(7777);
  Array doc = piece_array(pieces_);
  Catalog_Error error;
  ASSERT_TRUE(store_->initialize(set_document(staged, &doc), error)) << error.message;
  EXPECT_EQ(Catalog_Error::NOT_FOUND, refusal("children", params({{"uuid", staged.uuid}})).code);
  EXPECT_EQ(Catalog_Error::NOT_FOUND, refusal("children", params({{"uuid", staged.uuid}, {"dir", "/etc"}})).code);
  EXPECT_EQ(Catalog_Error::NOT_FOUND, refusal("path", params({{"uuid", staged.uuid}, {"path", "/etc"}})).code);
  ASSERT_TRUE(store_->complete(set_document(staged), error)) << error.message;
  EXPECT_EQ(expected_children(pieces_, "/etc").size(),
            page("children", params({{"uuid", staged.uuid}, {"dir", "/etc"}})).at("rows").get_array().size());
}

TEST_P(Children_Test, ACursorBelongsToItsDirectory) {
  Object first = page("children", params({{"uuid", set_.uuid}, {"dir", "/home/u"}, {"limit", 3}}));
  ASSERT_TRUE(first.count("next"));
  expect_invalid("children", params({{"uuid", set_.uuid}, {"dir", "/etc"}, {"cursor", first.at("next")}}), "cursor");
  expect_invalid("children", params({{"uuid", set_.uuid}, {"cursor", first.at("next")}}), "cursor");
  Object pieces = page("pieces", params({{"uuid", set_.uuid}, {"limit", 1}}));
  expect_invalid("children", params({{"uuid", set_.uuid}, {"dir", "/home/u"}, {"cursor", pieces.at("next")}}),
                 "cursor");
  expect_invalid("pieces", params({{"uuid", set_.uuid}, {"cursor", first.at("next")}}), "cursor");
}

TEST_P(Children_Test, PathListsItsDirectoryThenItsPieces) {
  auto path_rows = [&](std::string const& path) {
    return page("path", params({{"uuid", set_.uuid}, {"path", path}})).at("rows").get_array();
  };
  std::map<std::string, Dir_Total> totals = dir_totals(pieces_);
  for (std::string path : {"/home/v", "/etc/hosts", "/etc", "/home/u/docs", "rel", "rel.txt", "/nope"}) {
    SCOPED_TRACE(path);
    std::vector<Entry> want;
    if (totals.count(path)) want.push_back({true, path, 0, totals.at(path)});
    for (size_t i = 0; i < pieces_.size(); ++i)
      if (pieces_[i].path == path) want.push_back({false, path, i, {}});
    expect_entries(want, path_rows(path));
  }
  start_server();
  if (HasFatalFailure()) return;
  Object p = params({{"uuid", set_.uuid}, {"path", "/home/v"}});
  expect_same_over_http("path", p, page("path", p).at("rows").get_array());
}

TEST_P(Children_Test, ChildrenPagedOverJsonRpcAndRestMatchTheStore) {
  start_server();
  if (HasFatalFailure()) return;
  for (std::string dir : {"/", "/home/u", "/\xc3\xa9t\xc3\xa9"}) {
    Object p = params({{"uuid", set_.uuid}, {"dir", dir}, {"limit", 4}});
    Array direct = all_pages("children", p);
    expect_entries(expected_children(pieces_, dir == "/" ? "" : dir), direct);
    expect_same_over_http("children", p, direct);
  }
  // A missing directory is 404 over REST, -32001 over JSON-RPC.
  auto r = rest_select("children", {{"uuid", set_.uuid}, {"dir", "/nope"}});
  EXPECT_EQ(404, r.first) << dump(r.second);
  Value e = rpc_select("children", params({{"uuid", set_.uuid}, {"dir", "/nope"}}), true);
  ASSERT_EQ(json_spirit::obj_type, e.type());
  EXPECT_EQ(-32001, e.get_obj().at("code").get_int());
}

TEST_P(Children_Test, ARecommittedSetCountsOnlyItsNewPieces) {
  std::vector<Piece_Spec> fewer = {{"/etc/passwd", 50, "", Value()}, {"/etc/new/x", 7, "", Value()}};
  Array doc = piece_array(fewer);
  commit(set_, &doc);
  if (HasFatalFailure()) return;
  pieces_ = fewer;
  std::vector<std::string> seen;
  for (Value const& r : all_pages("children", params({{"uuid", set_.uuid}}))) {
    Object const& o = r.get_obj();
    seen.push_back(text_of(o, "path"));
    EXPECT_EQ(2, o.at("pieces").get_int64());
    EXPECT_EQ(57, o.at("size").get_int64());
  }
  EXPECT_EQ(std::vector<std::string>{"/etc"}, seen);
  EXPECT_EQ(Catalog_Error::NOT_FOUND, refusal("children", params({{"uuid", set_.uuid}, {"dir", "/home"}})).code);
  EXPECT_EQ(2, count("SELECT count(*) FROM backup_piece_dir"));
}

// Pieces whose path starts with "//" are in directory "/", which callers
// cannot name: "/" is the root. Browsing from the root must still reach
// every piece of the set.
TEST_P(Catalog_Paging_Test, EveryPieceIsReachableByBrowsingFromTheRoot) {
  Set_Spec s;
  s.uuid = scattered_uuid(5);
  std::vector<Piece_Spec> pieces = {{"//y", 1, "", Value()}, {"/a", 2, "", Value()}, {"/b/c", 3, "", Value()}};
  Array doc = piece_array(pieces);
  commit(s, &doc);
  if (HasFatalFailure()) return;
  std::multiset<std::string> reached;
  std::vector<std::string> todo = {""};
  std::set<std::string> listed;
  for (size_t i = 0; i < todo.size() && i < 100; ++i) {
    if (!listed.insert(todo[i]).second) continue;
    Value result;
    Catalog_Error error;
    Object p = params({{"uuid", s.uuid}, {"dir", todo[i]}});
    ASSERT_TRUE(store_->select("backup_set", "children", p, result, error))
        << "dir '" << todo[i] << "' listed by its parent: " << error.message;
    for (Value const& r : result.get_obj().at("rows").get_array()) {
      Object const& o = r.get_obj();
      if (text_of(o, "type") == "dir")
        todo.push_back(text_of(o, "path"));
      else
        reached.insert(text_of(o, "path"));
    }
  }
  EXPECT_EQ((std::multiset<std::string>{"//y", "/a", "/b/c"}), reached);
}

// ---------------------------------------------------------------------------
// Exactness of what goes in by COPY (PostgreSQL) or INSERT (SQLite).

std::vector<Piece_Spec> awkward_pieces(int copies) {
  std::vector<std::string> texts = {
      "tab\there",
      "new\nline",
      "carriage\rreturn",
      "crlf\r\n",
      "back\\slash",
      "\\N",
      "\\",
      "\\.",
      "ends with backslash\\",
      "\\t\\n not escapes",
      "double \"quote\"",
      "single 'quote'",
      "\xc3\xa9\xc3\xa8 \xe4\xb8\xad\xe6\x96\x87 \xf0\x9f\x98\x80\xf0\x9f\x91\x8d",
      "\x01\x02\x1f control",
      "comma, semicolon; pipe|",
      "  spaces  ",
  };
  std::vector<Piece_Spec> out;
  for (int c = 0; c < copies; ++c) {
    for (size_t i = 0; i < texts.size(); ++i) {
      Piece_Spec p;
      std::string const& t = texts[i];
      std::string const& u = texts[(i + 3) % texts.size()];
      // In the directory part too, so the directory rows carry them.
      p.path = "/" + t + "/" + u + "/" + std::to_string(c) + "-" + t;
      p.object = u + t;
      p.size = static_cast<long long>(c * 1000 + i);
      Object attrs;
      attrs[t] = u;
      attrs["nested"] = Value(Array{Value(t), Value(u), Value(static_cast<long long>(i))});
      if (i % 4 == 0)
        p.attrs = Value();
      else
        p.attrs = Value(attrs);
      out.push_back(p);
    }
  }
  return out;
}

class Exact_Pieces_Test : public Catalog_Paging_Test {
 protected:
  // The pieces view gives back exactly `pieces` (by path, then as committed),
  // and the directories hold the right totals.
  void expect_stored(std::string const& uuid, std::vector<Piece_Spec> const& pieces) {
    std::vector<size_t> order(pieces.size());
    for (size_t i = 0; i < order.size(); ++i) order[i] = i;
    std::stable_sort(order.begin(), order.end(),
                     [&](size_t a, size_t b) { return pieces[a].path < pieces[b].path; });
    Array rows = all_pages("pieces", params({{"uuid", uuid}, {"limit", 500}}));
    ASSERT_EQ(pieces.size(), rows.size());
    for (size_t i = 0; i < rows.size(); ++i) {
      Object const& r = rows[i].get_obj();
      Piece_Spec const& w = pieces[order[i]];
      ASSERT_EQ(w.path, text_of(r, "path")) << i;
      EXPECT_EQ(w.object, text_of(r, "object")) << i;
      EXPECT_EQ(w.size, r.at("size").get_int64()) << i;
      if (w.attrs.is_null())
        EXPECT_TRUE(r.at("extended_attrs").is_null()) << dump(rows[i]);
      else
        EXPECT_TRUE(w.attrs == r.at("extended_attrs")) << dump(w.attrs) << "\n" << dump(r.at("extended_attrs"));
    }
    // Directory totals and names, through the children of every directory.
    std::map<std::string, Dir_Total> totals = dir_totals(pieces);
    std::set<std::string> dirs = {""};
    for (auto const& d : totals) dirs.insert(d.first);
    for (std::string const& d : dirs) {
      std::vector<Entry> want = expected_children(pieces, d);
      Array got;
      // The root by its own name; other directories as they are stored.
      got = all_pages("children", d.empty() ? params({{"uuid", uuid}, {"limit", 50}})
                                            : params({{"uuid", uuid}, {"dir", d}, {"limit", 50}}));
      ASSERT_EQ(want.size(), got.size()) << "dir '" << d << "'";
      for (size_t i = 0; i < want.size(); ++i) {
        Object const& o = got[i].get_obj();
        EXPECT_EQ(want[i].path, text_of(o, "path"));
        EXPECT_EQ(want[i].dir ? "dir" : "file", text_of(o, "type"));
        if (want[i].dir) {
          EXPECT_EQ(want[i].total.pieces, o.at("pieces").get_int64()) << want[i].path;
          EXPECT_EQ(want[i].total.size, o.at("size").get_int64()) << want[i].path;
        }
      }
    }
  }
};

TEST_P(Exact_Pieces_Test, AwkwardBytesSurviveACommit) {
  Set_Spec s;
  s.uuid = scattered_uuid(11);
  std::vector<Piece_Spec> pieces = awkward_pieces(2);
  Array doc = piece_array(pieces);
  commit(s, &doc);
  if (HasFatalFailure()) return;
  expect_stored(s.uuid, pieces);
}

TEST_P(Exact_Pieces_Test, AwkwardBytesSurviveStagedBatches) {
  Set_Spec s;
  s.uuid = scattered_uuid(12);
  std::vector<Piece_Spec> all = awkward_pieces(3);
  // Batches of odd sizes, the same directories in each.
  std::vector<Piece_Spec> first(all.begin(), all.begin() + 13), second(all.begin() + 13, all.begin() + 40),
      last(all.begin() + 40, all.end());
  Catalog_Error error;
  Array d1 = piece_array(first), d2 = piece_array(second), d3 = piece_array(last);
  ASSERT_TRUE(store_->initialize(set_document(s, &d1), error)) << error.message;
  ASSERT_TRUE(store_->add_pieces(s.uuid, Value(d2), error)) << error.message;
  ASSERT_TRUE(store_->complete(set_document(s, &d3), error)) << error.message;
  expect_stored(s.uuid, all);
  // A retried complete adds nothing.
  ASSERT_TRUE(store_->complete(set_document(s, &d3), error)) << error.message;
  expect_stored(s.uuid, all);
}

TEST_P(Exact_Pieces_Test, ALargeBatchArrivesWhole) {
  // Well past the size at which a load is sent in parts.
  Set_Spec s;
  s.uuid = scattered_uuid(13);
  std::vector<Piece_Spec> pieces;
  std::vector<Piece_Spec> awkward = awkward_pieces(1);
  for (int i = 0; i < 3001; ++i) {
    Piece_Spec p = awkward[i % awkward.size()];
    p.path += "/" + std::string(60, static_cast<char>('a' + i % 26)) + std::to_string(i);
    p.size = i;
    pieces.push_back(p);
  }
  Array doc = piece_array(pieces);
  ASSERT_GT(dump(Value(doc)).size(), 300u * 1024);
  commit(s, &doc);
  if (HasFatalFailure()) return;
  expect_stored(s.uuid, pieces);
  EXPECT_EQ(3001, count("SELECT count(*) FROM backup_piece"));
}

TEST_P(Exact_Pieces_Test, AwkwardPiecesOverJsonRpcAndRestMatchTheStore) {
  Set_Spec s;
  s.uuid = scattered_uuid(14);
  std::vector<Piece_Spec> pieces = awkward_pieces(1);
  Array doc = piece_array(pieces);
  commit(s, &doc);
  if (HasFatalFailure()) return;
  start_server();
  if (HasFatalFailure()) return;
  Object p = params({{"uuid", s.uuid}, {"limit", 5}});
  expect_same_over_http("pieces", p, all_pages("pieces", p));
  std::string dir = "/" + std::string("tab\there");
  Object c = params({{"uuid", s.uuid}, {"dir", dir}, {"limit", 1}});
  Array direct = all_pages("children", c);
  EXPECT_FALSE(direct.empty());
  expect_same_over_http("children", c, direct);
}

// ---------------------------------------------------------------------------
// A catalogue written before directories were kept, upgraded in place.

TEST_P(Catalog_Paging_Test, UpgradingAVersionFourCatalogueFillsInDirectories) {
  // A catalogue of its own, built by the first four steps.
  Catalog_Target old(GetParam());
  std::string error;
  ASSERT_TRUE(old.prepare(error)) << error;
  auto c = old.connect();
  ASSERT_TRUE(c->is_open()) << c->last_error();
  Dialect dialect = old.engine() == Catalog_Target::SQLITE ? Dialect::SQLite : Dialect::PostgreSQL;
  for (int step = 1; step <= 4; ++step) {
    char const* text = Catalog_Schema::step_text(step, dialect);
    ASSERT_NE(nullptr, text) << step;
    ASSERT_TRUE(c->execute_script(text)) << step << ": " << c->last_error();
  }
  ASSERT_TRUE(c->execute_script("CREATE TABLE catalog_schema_version (version integer NOT NULL); "
                                "INSERT INTO catalog_schema_version (version) VALUES (4)"))
      << c->last_error();
  int version = -1;
  ASSERT_TRUE(Catalog_Schema::version(*c, version));
  ASSERT_EQ(4, version);

  std::vector<std::string> paths = {"/a/b/c", "a", "/a", "a/b/", "//y", "", "/", "/a/b/d", "/a/b/c",
                                    "/x/\xc3\xa9t\xc3\xa9/\xf0\x9f\x98\x80", "rel/one", "rel/two/three",
                                    "/tab\tdir/new\nline", "/a//b", "/a/b"};
  struct Old_Set {
    std::string uuid;
    std::vector<Piece_Spec> pieces;
  };
  std::vector<Old_Set> sets(3);
  for (size_t k = 0; k < sets.size(); ++k) {
    sets[k].uuid = scattered_uuid(300 + k);
    for (size_t i = 0; i < paths.size(); ++i)
      if ((i + k) % 3 != 0 || k == 0) sets[k].pieces.push_back({paths[i], static_cast<long long>(k * 100 + i + 1), "", Value()});
  }
  auto uuid_value = [](std::string const& text) {
    std::basic_string<unsigned char> raw;
    EXPECT_TRUE(UUID_Binary::parse(text, raw));
    return Binding_Value(raw);
  };
  ASSERT_TRUE(c->begin());
  for (auto const& s : sets) {
    SQL set("INSERT INTO backup_set (uuid, name, status) VALUES (:uuid, 'old', 'complete')");
    ASSERT_TRUE(c->execute(set.bind(":uuid", uuid_value(s.uuid)))) << c->last_error();
    for (auto const& p : s.pieces) {
      SQL piece("INSERT INTO backup_piece (set_uuid, path, object, size) VALUES (:set, :path, '', :size)");
      piece.bind(":set", uuid_value(s.uuid)).bind(":path", Binding_Value(p.path)).bind(":size", Binding_Value(p.size));
      ASSERT_TRUE(c->execute(piece)) << c->last_error();
    }
  }
  ASSERT_TRUE(c->commit());

  ASSERT_TRUE(Catalog_Schema::create(*c)) << c->last_error();
  ASSERT_TRUE(Catalog_Schema::version(*c, version));
  EXPECT_EQ(Catalog_Schema::latest_version(), version);

  // Each piece's directory column.
  Array rows;
  ASSERT_TRUE(c->query_rows(SQL("SELECT path, dir FROM backup_piece ORDER BY id"), rows)) << c->last_error();
  size_t n = 0;
  for (auto const& s : sets)
    for (auto const& p : s.pieces) {
      ASSERT_LT(n, rows.size());
      Object const& r = rows[n++].get_obj();
      EXPECT_EQ(p.path, text_of(r, "path"));
      EXPECT_EQ(parent_of(p.path), text_of(r, "dir")) << "path '" << p.path << "'";
    }
  EXPECT_EQ(n, rows.size());

  // The directory rows, set by set.
  for (auto const& s : sets) {
    SCOPED_TRACE(s.uuid);
    SQL sql("SELECT path, parent, pieces, size FROM backup_piece_dir WHERE set_uuid=:set ORDER BY path");
    Array dirs;
    ASSERT_TRUE(c->query_rows(sql.bind(":set", uuid_value(s.uuid)), dirs)) << c->last_error();
    std::map<std::string, Dir_Total> want = dir_totals(s.pieces);
    ASSERT_EQ(want.size(), dirs.size()) << dump(Value(dirs));
    auto w = want.begin();
    for (Value const& d : dirs) {
      Object const& o = d.get_obj();
      EXPECT_EQ(w->first, text_of(o, "path"));
      EXPECT_EQ(parent_of(w->first), text_of(o, "parent")) << w->first;
      EXPECT_EQ(w->second.pieces, o.at("pieces").get_int64()) << w->first;
      EXPECT_EQ(w->second.size, o.at("size").get_int64()) << w->first;
      ++w;
    }
  }

  // The upgraded catalogue browses like a new one, and takes more pieces.
  c.reset();
  std::unique_ptr<Catalog_Store> upgraded = Catalog_Store::open(old.db(), error);
  ASSERT_TRUE(upgraded) << error;
  Value result;
  Catalog_Error failure;
  ASSERT_TRUE(upgraded->select("backup_set", "children", params({{"uuid", sets[0].uuid}, {"dir", "/a/b"}}), result,
                               failure))
      << failure.message;
  std::vector<Entry> want = expected_children(sets[0].pieces, "/a/b");
  Array const& got = result.get_obj().at("rows").get_array();
  ASSERT_EQ(want.size(), got.size()) << dump(result);
  for (size_t i = 0; i < want.size(); ++i) { EXPECT_EQ(want[i].path, text_of(got[i].get_obj(), "path")); }
}

INSTANTIATE_TEST_SUITE_P(Engines, Catalog_Paging_Test,
                         ::testing::Values(Catalog_Target::SQLITE, Catalog_Target::POSTGRESQL),
                         [](::testing::TestParamInfo<Catalog_Target::Engine> const& info) {
                           return std::string(Catalog_Target::name(info.param));
                         });
INSTANTIATE_TEST_SUITE_P(Engines, Children_Test,
                         ::testing::Values(Catalog_Target::SQLITE, Catalog_Target::POSTGRESQL),
                         [](::testing::TestParamInfo<Catalog_Target::Engine> const& info) {
                           return std::string(Catalog_Target::name(info.param));
                         });
INSTANTIATE_TEST_SUITE_P(Engines, Exact_Pieces_Test,
                         ::testing::Values(Catalog_Target::SQLITE, Catalog_Target::POSTGRESQL),
                         [](::testing::TestParamInfo<Catalog_Target::Engine> const& info) {
                           return std::string(Catalog_Target::name(info.param));
                         });
