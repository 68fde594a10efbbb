// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "bench/growth_store.h"
#include "bench/isam_keys.h"

namespace marigold::inner::bench {
namespace {

void must(int result, const char* what) {
  if (result == 0) return;
  std::fprintf(stderr, "isam_growth: %s (iserrno %d)\n", what, iserrno);
  std::exit(1);
}

class EngineGrowth : public GrowthStore {
 public:
  EngineGrowth(const std::string& directory, bool shared) {
    const std::string base = directory + "/file";
    file_ = ISBUILD(base.c_str(), sizeof(Record), key_of(0), kIsInputOutput | kIsExclusive);
    must(file_ < 0, "build");
    must(ISADDINDEX(file_, key_of(1)), "add key 2");
    must(ISADDINDEX(file_, key_of(2)), "add key 3");
    if (!shared) return;
    must(ISCLOSE(file_), "close");
    file_ = ISOPEN(base.c_str(), kIsInputOutput | kIsManualLock);
    must(file_ < 0, "open");
  }
  ~EngineGrowth() override { ISCLOSE(file_); }
  EngineGrowth(const EngineGrowth&) = delete;
  EngineGrowth& operator=(const EngineGrowth&) = delete;

  void insert(const Record& record) override { must(ISWRITE(file_, record.bytes.data()), "write"); }
  void read_by(int key) override {
    Record any;
    must(ISSTART(file_, key_of(key), 0, any.bytes.data(), kIsFirst), "select a key");
  }
  bool get(const Key8& primary, Record& copy) override {
    std::ranges::copy(primary, copy.bytes.begin());
    return found(ISREAD(file_, copy.bytes.data(), kIsEqual));
  }
  bool get_by_name(const Key20& name, Record& copy) override {
    std::ranges::copy(name, copy.bytes.begin() + 8);
    return found(ISREAD(file_, copy.bytes.data(), kIsEqual));
  }
  void walk(std::vector<std::uint64_t>& digests) override {
    Record copy;
    for (int mode = kIsFirst; ISREAD(file_, copy.bytes.data(), mode) == 0; mode = kIsNext)
      digests.push_back(digest(copy));
    must(iserrno != kIsEndOfFile, "walk");
  }
  void change() override {}
  void replace(const Record& record) override {
    must(ISDELETE(file_, record.bytes.data()), "delete");
    insert(record);
  }
  void erase(const Key8& primary) override {
    Record record;
    std::ranges::copy(primary, record.bytes.begin());
    must(ISDELETE(file_, record.bytes.data()), "delete");
  }

 private:
  static bool found(int result) {
    must(result != 0 && iserrno != kIsNoRecord, "read");
    return result == 0;
  }
  int file_ = -1;
};

}  // namespace

std::unique_ptr<GrowthStore> make_engine_growth(const std::string& directory, bool shared) {
  return std::make_unique<EngineGrowth>(directory, shared);
}

}  // namespace marigold::inner::bench
