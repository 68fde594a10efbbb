// SPDX-License-Identifier: GPL-3.0-or-later
// The keyed-file engine: records of fixed length in a file, found and read in order by up to 16
// keys, by many processes at once.
//
// A keyed file is a pair of files, BASE.dat with the records and BASE.idx with the keys. A base
// name that begins with "*" names the index file directly (the rest of the name, nothing added);
// the data file has that name with ".dat" added.
//
// Results: 0 for done, a descriptor where one is returned, else -1 with the reason in `iserrno`. An
// ordinary failure prints nothing, and a failed operation leaves the file as it was. All calls come
// from one thread.
//
// Any operation can fail because the system does not provide a page of the files: 28 when the disk
// is full where a page must be stored again (file systems that keep old versions or share them,
// sparse copies), 5 when the page cannot be read, 105 when somebody has cut the file. Reading works
// while the disk is full; 27 reports a file that would be longer than the process may make it. For
// this the process has a handler of SIGBUS while files are open, which passes on signals for other
// memory, and one of SIGXFSZ that does nothing, unless the program has set up that signal itself.
//
// A forked child has no file open: every operation on an inherited descriptor is 101, ISCLOSE
// included. The child holds none of the locks, however long it lives, and may open files of its
// own. The parent keeps its descriptors and locks. A child that a watch has forked within an
// operation must not return into the operation.
//
// Guarantees when an operation has returned:
//   - ISWRITE, ISDELETE, ISADDINDEX with 0: it is done for every process, and stays done if any
//     process is killed;
//   - ISFLUSH, ISCLOSE with 0: everything done before, by any process, is durable. After a power
//     loss the file opens again with at least that; its indexes are then rebuilt from the data
//     file. A record that was durable and was only replaced since then (deleted and written again)
//     is there in its old form or in a newer one.
//
// Files of a database cluster: a base name that is an address,
// postgresql://HOSTS/DATABASE/SCHEMA/FILE, names a file that lies on a PostgreSQL server
// (docs/cluster.md). All operations are the same, except that such files need no isrebuild,
// isrecover and iscompact, and that their snapshots are not written as pairs of files (102).
// Guarantees when an operation has returned:
//   - ISWRITE, ISDELETE, ISREPLACE, ISADDINDEX with 0: as above, also if the connection is lost
//     meanwhile. The operation then connects again, to the host that takes changes, and finds out
//     whether the change was done before the loss; it is done once and never twice.
//   - ISFLUSH, ISCLOSE with 0: on the server's disk, and on that of its synchronous standby.
// Locks that were held come back with the connection. A lock that somebody else has taken meanwhile,
// or whose record has changed, fails the next operation on the file, and all others until ISRELEASE
// or ISCLOSE, with 121. A server that comes back without changes that had been done, but not been
// flushed, fails all operations until ISCLOSE with 122.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace marigold {

#pragma GCC visibility push(default)

// ---- Error numbers. Those below 100 are the operating system's (2: no such file; 17: the file
// exists; 28: no space left); the system's numbers from 100 on come increased by 1000.

extern int iserrno;

// clang-format off
inline constexpr int kIsDuplicate = 100;     // EDUPL: a key without duplicates has this value
inline constexpr int kIsNotOpen = 101;       // ENOTOPEN: no such descriptor, or not open for this
inline constexpr int kIsBadArgument = 102;   // EBADARG: bad mode, lock mode or length
inline constexpr int kIsBadKey = 103;        // EBADKEY: bad or unknown key, more than 16 keys
inline constexpr int kIsTooMany = 104;       // ETOOMANY: more than 30 files open
inline constexpr int kIsBadFile = 105;       // EBADFILE: damaged, or no keyed file; left as it is
inline constexpr int kIsNotExclusive = 106;  // ENOTEXCL: the operation needs the file for itself
inline constexpr int kIsLocked = 107;        // ELOCKED: another process has the record locked
inline constexpr int kIsKeyExists = 108;     // EKEXISTS: the file has this key already
inline constexpr int kIsPrimaryKey = 109;    // EPRIMKEY
inline constexpr int kIsEndOfFile = 110;     // EENDFILE: beginning or end of the file reached
inline constexpr int kIsNoRecord = 111;      // ENOREC: no record found
inline constexpr int kIsNoCurrent = 112;     // ENOCURR: no current record
inline constexpr int kIsFileLocked = 113;    // EFLOCKED: in use in a way that excludes this one
inline constexpr int kIsNameTooLong = 114;   // EFNAME: more than 1024 characters
inline constexpr int kIsNoLock = 115;        // ENOLOK: a lock could not be set up
inline constexpr int kIsNoMemory = 116;      // EBADMEM: memory could not be allocated
// For files of a database cluster; isreason() has the server and its words.
inline constexpr int kIsServer = 120;       // ESERVER: the server cannot be reached, or refuses
inline constexpr int kIsLockLost = 121;     // ELOCKLOST: see "Files of a database cluster"
inline constexpr int kIsChangesLost = 122;  // ELOST: the same
// clang-format on

// Name of one of the engine's own error numbers (from 100), "" for any other.
const char* iserror_name(int number);

// Reason of the last failure, if its number alone says too little, else "". The text is valid until
// the next operation.
const char* isreason();

// ---- Key descriptions

inline constexpr int kIsMostOpen = 30;  // descriptors at once; see isopenlimit
inline constexpr int kIsMostKeys = 16;
inline constexpr int kIsMostParts = 8;
inline constexpr int kIsLongestKey = 255;        // bytes of all parts of a key together
inline constexpr int kIsLongestRecord = 32'767;  // bytes

inline constexpr std::int16_t kIsCharacters = 0;  // bytes, compared unsigned from the left
inline constexpr std::int16_t kIsInt2 = 1;        // 2-byte integer, big-endian, signed
inline constexpr std::int16_t kIsInt4 = 2;        // 4-byte integer, big-endian, signed
// An IEEE double in the machine's byte order; a NaN sorts above all.
inline constexpr std::int16_t kIsDouble = 3;

struct KeyPart {
  std::int16_t start = 0;   // offset in the record
  std::int16_t length = 0;  // bytes; 2, 4 and 8 for the numbers
  std::int16_t type = kIsCharacters;
  bool operator==(const KeyPart&) const = default;
};

struct KeyDescription {
  // 1: duplicates are allowed, and read in the order in which they were written.
  std::int16_t flags = 0;
  std::int16_t part_count = 0;
  std::array<KeyPart, kIsMostParts> parts{};
};

inline constexpr std::int16_t kIsDuplicatesAllowed = 1;

// ---- Modes

// Mode of ISBUILD and ISOPEN: the sum of an access and a lock mode.
inline constexpr int kIsInput = 0;
inline constexpr int kIsOutput = 1;
inline constexpr int kIsInputOutput = 2;
inline constexpr int kIsAutoLock = 0x200;    // each read locks, and unlocks the record before
inline constexpr int kIsManualLock = 0x400;  // reads lock on demand
inline constexpr int kIsExclusive = 0x800;   // no other descriptor may have the file open
inline constexpr int kIsReadOnly = 0x8000;   // with kIsInput: nothing will be written

// Mode of ISREAD and ISSTART.
inline constexpr int kIsFirst = 0;
inline constexpr int kIsLast = 1;
inline constexpr int kIsNext = 2;
inline constexpr int kIsPrevious = 3;
inline constexpr int kIsCurrent = 4;
inline constexpr int kIsEqual = 5;
inline constexpr int kIsGreater = 6;
inline constexpr int kIsGreaterOrEqual = 7;
inline constexpr int kIsLock =
    0x100;  // added: lock the record for this process, or fail at once with 107

// ---- Operations

// Makes a new file with its primary key (which allows no duplicates) and opens it. Errors: 17 when
// one of the two files exists, 102, 103, 104, 114 and those of the system; then no file is left.
int ISBUILD(const char* base, int record_length, const KeyDescription& primary, int mode);

// Makes a new file that is to replace another one, LIKE: the two new files get the owner, group,
// permissions and access control list of the old ones, as far as the system allows, and until then
// no other user can open them. A LIKE that does not exist gives none.
int isbuild_like(const char* base, const char* like, int record_length,
                 const KeyDescription& primary, int mode);

// Adds a key over all records. The file must be open exclusively (106). 108: it has this key
// already; 100: the key allows no duplicates and the records have some.
int ISADDINDEX(int number, const KeyDescription& key);

// Opens a file. The primary key is selected and the position lies before the first record. Errors:
// 2 when the files do not exist, 102, 104, 105, 113, 114 and those of the system; 103 when the data
// file claims more than 16 keys, or an invalid one.
int ISOPEN(const char* base, int mode);

// Allows so many open files from now on, at least kIsMostOpen: for tools that need all files of an
// installation at once. The system has a limit of its own; each file takes two descriptors of it.
// Error: 116.
int isopenlimit(int files);

// Makes everything durable and gives the locks back. The descriptor is closed even if writing
// fails.
int ISCLOSE(int number);

// Selects the key of later reads (103: the file has no such key) and finds a position in it: modes
// 0, 1 and 5 to 7. With a length other than 0 only that many first bytes of the key count. A record
// found becomes the current one. With 111 the key is selected all the same, and the position lies
// between the neighbours of the value looked for.
int ISSTART(int number, const KeyDescription& key, int length, const char* record, int mode);

// Reads a record into the buffer, which holds the key value for modes 5 to 7. After a failure the
// buffer is as it was. With a lock, 107 reports that another process has locked the record;
// kIsEqual by the primary key reports it also for a record that the holder of the lock has deleted
// and may be writing again.
int ISREAD(int number, char* record, int mode);

// Adds a record. The position stays. 100: a key without duplicates has this value already; 107:
// another process has locked the primary key of a record that it has deleted.
int ISWRITE(int number, const char* record);

// Deletes the record with the primary key in the buffer. 111: there is none; 107: another process
// has locked it.
int ISDELETE(int number, const char* record);

// Replaces the record with the same primary key in one change: at no moment, and after no death, is
// it missing. Among records with equal values of a key it then counts as the one written last. The
// position stays. 111: there is none; 107: another process has locked it; 100: another record has
// the new value of a key without duplicates.
int ISREPLACE(int number, const char* record);

// Gives back all record locks of this process on the file. A lock stands for the primary key: it
// stays when its holder deletes the record and writes it again.
int ISRELEASE(int number);

// Makes everything done so far durable.
int ISFLUSH(int number);

// Returns the number of records, or -1.
std::int64_t iscount(int number);

// Properties of an open file at one moment between two changes; -1 when they cannot be read.
struct IsamInfo {
  int record_length = 0;
  std::int64_t record_count = 0;
  std::int64_t deleted_count = 0;  // slots that hold no record
  int key_count = 0;
  std::array<KeyDescription, kIsMostKeys> keys{};  // the primary key first
  std::uint64_t data_bytes = 0;                    // of the data file, with space reserved ahead
  std::uint64_t index_bytes = 0;
  std::uint64_t deleted_bytes = 0;        // of the slots that hold no record
  std::array<int, kIsMostKeys> depths{};  // levels of each key's tree, 1 for a single page
  // Why the indexes were rebuilt when this process opened the file; "" if they were not.
  const char* made_anew = "";
};
int isinfo(int descriptor, IsamInfo& info);

// Average fill of the pages of the trees, 0 to 1. Reads every page; approximate while other
// processes write.
int isfill(int descriptor, double& fill);

// Called now and then with the progress of a long operation. May be empty.
using IsWatch = std::function<void(std::uint64_t done, std::uint64_t all)>;

// Called with the base name and the progress of a rebuild that has no watch of its own: of an index
// that does not fit its data, for example after a power loss, which any operation that opens a file
// may rebuild; and for ISADDINDEX. The last call has done == all, also after a failure.
// Process-wide; empty at the start.
using IsRebuildWatch =
    std::function<void(const std::string& base, std::uint64_t done, std::uint64_t all)>;
void is_watch_rebuilds(IsRebuildWatch watch);

// ---- Snapshots: the records of one moment between two changes, read while programs go on. No
// program waits for a snapshot; the space of records that are deleted meanwhile is reused when it
// has ended

// Begins a snapshot of each of these files, all of the same moment. A descriptor has one at a time
// (102), and the process must be allowed to write the file (13), or to read it in a cluster. On a
// failure none has begun. 102: the files lie in different databases.
int issnapshot(std::span<const int> numbers);

// Reads the snapshot's next record, in the order in which the records were written; a copy with its
// records written in this order has the same order of equal keys. 110 after the last one; 105 when a
// record of the moment is damaged or missing, which makes the copy unusable.
int issnapshot_read(int number, char* record);
// Returns the number of records in the snapshot, or -1.
std::int64_t issnapshot_count(int number);

// Writes the snapshot as a closed pair of files BASE, which must not exist (17). The files get
// owner and permissions of those of `like`, as with isbuild_like; "" for none. On a failure none is
// left.
int issnapshot_write(int number, const char* base, const char* like, const IsWatch& watch = {});

// Ends the snapshot; ISCLOSE does so as well.
int issnapshot_end(int number);

// Verifies everything in the file: `findings` gets a line for each thing that does not fit. No
// process can change the file meanwhile, if this one may write it. 0 also when there are findings;
// -1 when the file could not be read.
int ischeck(int number, std::vector<std::string>& findings, const IsWatch& watch = {});

// Verifies only what needs no reading of records and trees: both copies of the data file's header,
// and whether sizes and counts fit together. Otherwise like ischeck.
int isglance(int number, std::vector<std::string>& findings);

// Outcome of isrebuild.
struct IsRebuildReport {
  std::int64_t records = 0;
  // Slots that held a record and hold no whole one, or records that the index knew and the data
  // file lacks, whichever is more.
  std::int64_t lost = 0;
  // Name of the untouched data file, which is kept when something is lost: BASE.damaged.dat, or
  // with a number if that exists (BASE.damaged-2.dat). No program removes it.
  std::string kept;
};

// Rebuilds the index file of BASE from its data file, also when the index is missing or damaged.
// 113: the file is in use; 105: the data file's own header is damaged, 103: it claims impossible
// keys; nothing is changed. The new index has a name of its own in the same directory and is
// installed when it is whole; after a failure (28, 116 and others) the file is as before. An index
// that can still be opened shows which records are deleted; without one, those deleted since the
// file was last flushed come back. Space after the last record is given back.
int isrebuild(const char* base, IsRebuildReport& report, const IsWatch& watch = {});

// Outcome of isrecover.
struct IsRecoverReport {
  std::int64_t records = 0;
  std::int64_t lost = 0;        // as for isrebuild, and slots that the disk cannot read
  std::int64_t superseded = 0;  // whole records left out, because a later one has the same key
  // Deleted records without evidence whether their deletion was final. They come back if the file
  // shows which of them can be, and are left out otherwise.
  std::int64_t undecided = 0;
  // Whether the checksums of the records could be verified. Otherwise each record is taken as it
  // is, and may be damaged.
  bool checked = true;
  std::string kept;  // as for isrebuild; also for an uncertain outcome
};

// Recovers the records of a data file whose header is damaged, in both copies or in one, and whose
// index may be missing: the caller knows the record length and the keys, the primary key first. All
// whole records go into a new pair, which replaces the old one when it is durable; until then
// nothing is changed. 113: the file is in use; 102, 103: its header is whole and contradicts the
// caller; 105: nothing in the file looks like such a record; EINTR: a signal to stop that the
// caller holds back (platform/stop_signals.h).
int isrecover(const char* base, int record_length, std::span<const KeyDescription> keys,
              IsRecoverReport& report, const IsWatch& watch = {});

// Outcome of iscompact, in bytes of the two files.
struct IsCompactReport {
  std::int64_t records = 0;
  std::uint64_t data_before = 0;
  std::uint64_t index_before = 0;
  std::uint64_t data_after = 0;
  std::uint64_t index_after = 0;
};

// Gives back the space of deleted records: a new pair without them replaces the old one. Both exist
// for a while. If the process is killed at any moment, the old or the new pair is there and opens.
// 113: the file is in use; 105: it is damaged (ischeck shows how), nothing is changed; EINTR as
// above. ELOOP, for isrecover as well: the data file is a link.
int iscompact(const char* base, IsCompactReport& report, const IsWatch& watch = {});

// ---- Numbers in records: the same bytes on every machine, except for doubles, which keep their
// form in memory

std::int16_t isld_int2(const char* from);
std::int32_t isld_int4(const char* from);
double isld_double(const char* from);
void isst_int2(std::int16_t value, char* to);
void isst_int4(std::int32_t value, char* to);
void isst_double(double value, char* to);

#pragma GCC visibility pop

}  // namespace marigold
