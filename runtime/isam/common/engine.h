// SPDX-License-Identifier: GPL-3.0-or-later
// What an engine provides: files that are open, and the operations on files that are not. The
// operations of isam.h choose an engine by the base name; the engines do not know each other.
//
// Results: 0, or the number for iserrno.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "runtime/isam/common/isam.h"

namespace marigold::inner::isam {

// The access and the lock mode of ISBUILD and ISOPEN.
struct OpenMode {
  bool reads = false;
  bool writes = false;
  bool automatic = false;
  bool exclusive = false;
  bool read_only = false;  // nothing will be written, so the file may be one for reading alone
};

// 102 for bits that are no mode.
int parse_mode(int bits, OpenMode& mode);

// An open keyed file: what a descriptor stands for. The caller has checked the descriptor, the
// access and the modes. For each operation see the one of isam.h with its name.
class OpenIsam {
 public:
  explicit OpenIsam(const OpenMode& mode) : mode_(mode) {}
  virtual ~OpenIsam() = default;
  OpenIsam(const OpenIsam&) = delete;
  OpenIsam& operator=(const OpenIsam&) = delete;

  [[nodiscard]] const OpenMode& mode() const { return mode_; }
  // False in a forked child that has inherited the object.
  [[nodiscard]] virtual bool is_ours() const = 0;

  // Only the destructor may follow.
  virtual int close() = 0;
  // Only close may follow.
  virtual int retire() = 0;

  virtual int start(const KeyDescription& key, int length, const char* record, int mode) = 0;
  // `mode` without kIsLock.
  virtual int read(char* record, int mode, bool lock) = 0;
  virtual int select(const KeyDescription& key) = 0;
  virtual int keep_position(IsPosition& position) = 0;
  virtual int return_to(const IsPosition& position) = 0;

  virtual int write(const char* record) = 0;
  virtual int remove(const char* record) = 0;
  virtual int replace(const char* record) = 0;
  virtual int add_key(const KeyDescription& key) = 0;
  virtual int flush() = 0;

  virtual int release() = 0;
  virtual int lock(const char* record, bool& taken) = 0;
  virtual int unlock(const char* record) = 0;
  virtual int set_guard(IsGuard guard) = 0;
  virtual int mark(bool marked) = 0;
  virtual int reserve(std::uint64_t records) = 0;

  virtual int count(std::int64_t& records) = 0;
  virtual int changes(std::uint64_t& number) = 0;
  virtual int ahead(int /*records*/) { return 0; }
  virtual int info(IsamInfo& info) = 0;
  virtual int shape(IsamInfo& shape) { return info(shape); }
  virtual int fill(double& fill) = 0;
  virtual int check(std::vector<std::string>& findings, const IsWatch& watch) = 0;
  virtual int glance(std::vector<std::string>& findings) = 0;

  [[nodiscard]] virtual bool has_snapshot() const = 0;
  virtual int snapshot_read(char* record) = 0;
  [[nodiscard]] virtual std::int64_t snapshot_count() const = 0;
  virtual int snapshot_write(const std::string& base, const std::string& like,
                             const IsWatch& watch) = 0;
  virtual void snapshot_end() = 0;

 private:
  OpenMode mode_;
};

using OpenIsamPointer = std::unique_ptr<OpenIsam>;

struct IsamEngine {
  // `like` may be "". The key fits the records.
  int (*build)(const std::string& base, const std::string& like, int record_length,
               const KeyDescription& primary, const OpenMode& mode, OpenIsamPointer& built);
  int (*open)(const std::string& base, const OpenMode& mode, OpenIsamPointer& opened);
  // The files are different ones of this engine, without snapshots.
  int (*begin_snapshots)(std::span<OpenIsam* const> files);
  int (*rebuild)(const std::string& base, IsRebuildReport& report, const IsWatch& watch);
  // The keys fit the records.
  int (*recover)(const std::string& base, int record_length, std::span<const KeyDescription> keys,
                 IsRecoverReport& report, const IsWatch& watch);
  int (*compact)(const std::string& base, IsCompactReport& report, const IsWatch& watch);
};

}  // namespace marigold::inner::isam
