// The keyed-file engine: records of fixed length in a file, found and walked by up to 16 keys, by
// many processes at once.
//
// A keyed file is a pair of files, BASE.dat with the records and BASE.idx with the keys. A base
// name that begins with "*" names the index file directly (the rest of it, nothing added); the data
// file is then that name with ".dat" added.
//
// Results: 0 for done, a descriptor where one is returned, else -1 with the reason in `iserrno`.
// Nothing is printed for an ordinary failure, and a failed operation leaves the file as it was. One
// thread.
//
// Any operation can fail because the system does not give a page of the files: 28 when the disk is
// full where a page must be stored again (file systems that keep old versions or share them, sparse
// copies), 5 when it cannot be read, 105 when somebody has cut the file. Reading works while the
// disk is full; 27 is a file that would be longer than the process may make it. For this the
// process has a handler of SIGBUS while files are open, which hands on what is not theirs, and one
// of SIGXFSZ that does nothing, unless the program has set that signal up itself.
//
// A forked child has nothing open: every operation on a descriptor that it has inherited is 101,
// ISCLOSE included, and it holds none of the locks, however long it lives. It may open files of its
// own. The parent's descriptors and locks are untouched by all that. A child made from within an
// operation (by a watch) must not return into it.
//
// What holds when an operation has returned:
//   - ISWRITE, ISDELETE, ISADDINDEX with 0: it is done for every process, and stays done if any
//     process is killed;
//   - ISFLUSH, ISCLOSE with 0: everything done before, by anyone, is on the disk. After a power
//     loss the file opens again with at least that; its indexes are then made anew from the data
//     file. A record that was on the disk and is since only replaced (deleted and written again) is
//     there in its old form or in a newer one.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace marigold {

#pragma GCC visibility push(default)

// ---- Error numbers. Below 100: the operating system's (2: no such file; 17: the file exists; 28:
// no space left).

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
// clang-format on

// The name of one of the engine's own error numbers (100 to 119), "" for any other.
const char* iserror_name(int number);

// Why the last operation that failed did so, where its number alone says too little: a constant
// text, "" when there is nothing to add.
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
  // 1: duplicates are allowed, and delivered in the order in which they were written.
  std::int16_t flags = 0;
  std::int16_t part_count = 0;
  std::array<KeyPart, kIsMostParts> parts{};
};

inline constexpr std::int16_t kIsDuplicatesAllowed = 1;

// ---- Modes

// Of ISBUILD and ISOPEN: the sum of an access and a lock mode.
inline constexpr int kIsInput = 0;
inline constexpr int kIsOutput = 1;
inline constexpr int kIsInputOutput = 2;
inline constexpr int kIsAutoLock = 0x200;    // each read locks, and gives the lock before back
inline constexpr int kIsManualLock = 0x400;  // reads lock on demand
inline constexpr int kIsExclusive = 0x800;   // nobody else may open the file
inline constexpr int kIsReadOnly = 0x8000;   // with kIsInput: nothing will be written

// Of ISREAD and ISSTART.
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
// one of the two files exists, 102, 103, 104, 114 and those of the system; then no file is left
// behind.
int ISBUILD(const char* base, int record_length, const KeyDescription& primary, int mode);

// The same for a file that is to take the place of another one, LIKE: its two files have the owner,
// group, permissions and access control list of those, as far as the system allows, and until then
// nobody else can open them. A LIKE that is not there gives none.
int isbuild_like(const char* base, const char* like, int record_length,
                 const KeyDescription& primary, int mode);

// Adds a key over all records. The file is open exclusively (106). 108: it has this key already;
// 100: the key allows no duplicates and the records have some.
int ISADDINDEX(int number, const KeyDescription& key);

// Opens a file. The primary key is selected and the position lies before the first record. Errors:
// 2 when the files do not exist, 102, 104, 105, 113, 114 and those of the system; 103 when the data
// file claims more than 16 keys, or one that cannot be.
int ISOPEN(const char* base, int mode);

// Allows so many open files from now on, at least kIsMostOpen: for tools that need all files of an
// installation at once. The system has a limit of its own, of two to a file. Error: 116.
int isopenlimit(int files);

// Writes everything to the disk and gives the locks back. The descriptor is closed even if writing
// fails.
int ISCLOSE(int number);

// Selects the key of later reads (103: the file has none like it) and finds a place in it: modes 0,
// 1 and 5 to 7. With a length other than 0 only that many first bytes of the key count. A record
// found becomes the current one. With 111 the key is selected all the same, and the position lies
// between the neighbours of what was looked for.
int ISSTART(int number, const KeyDescription& key, int length, const char* record, int mode);

// Reads a record into the buffer, which holds the key value for modes 5 to 7. On failure the buffer
// is as it was. With the lock 107 when another process has it; so also kIsEqual by the primary key
// for a record that its holder has deleted and may be writing anew.
int ISREAD(int number, char* record, int mode);

// Adds a record. The position stays. 100: a key without duplicates has this value already; 107:
// another process has the primary key locked, of a record that it has deleted.
int ISWRITE(int number, const char* record);

// Deletes the record with the primary key in the buffer. 111: there is none; 107: another process
// has it locked.
int ISDELETE(int number, const char* record);

// Replaces the record with the same primary key in one change: at no moment, and after no death, is
// there none. Among records with equal values of a key it then counts as the one written last. The
// position stays. 111: there is none; 107: another process has it locked; 100: another record has
// the new value of a key without duplicates.
int ISREPLACE(int number, const char* record);

// Gives back all record locks of this process on the file. A lock stands for the primary key: it
// stays when its holder deletes the record and writes it again.
int ISRELEASE(int number);

// Brings everything done so far to the disk.
int ISFLUSH(int number);

// The number of records, or -1.
std::int64_t iscount(int number);

// What an open file is: of one moment between two changes. -1 when it could not be told.
struct IsamInfo {
  int record_length = 0;
  std::int64_t record_count = 0;
  std::int64_t deleted_count = 0;  // places in the data file that records have left
  int key_count = 0;
  std::array<KeyDescription, kIsMostKeys> keys{};  // the primary key first
  std::uint64_t data_bytes = 0;  // of the two files, space that is reserved ahead included
  std::uint64_t index_bytes = 0;
  std::uint64_t deleted_bytes = 0;        // of the places that records have left
  std::array<int, kIsMostKeys> depths{};  // levels of each key's tree, 1 for a single page
  // Why the indexes were made again when this process opened the file; "" if they were not.
  const char* made_anew = "";
};
int isinfo(int descriptor, IsamInfo& info);

// How full the pages of the trees are on average, 0 to 1. Reads every page; about right while
// others write.
int isfill(int descriptor, double& fill);

// Told now and then how far a long operation has come. May be empty.
using IsWatch = std::function<void(std::uint64_t done, std::uint64_t all)>;

// Told the same, with the base name, of a file whose indexes are made again because the power has
// failed while it was open, which any operation that opens a file may do; and of ISADDINDEX. The
// last call has done == all, also when that failed. Process-wide; empty at the start.
using IsRebuildWatch =
    std::function<void(const std::string& base, std::uint64_t done, std::uint64_t all)>;
void is_watch_rebuilds(IsRebuildWatch watch);

// ---- Snapshots: the records of one moment between two changes, read while programs go on. Nobody
// waits for one; the space of records that are deleted meanwhile is used again when it has ended.

// Begins a snapshot of each of these files, all of the same moment. A descriptor has one at a time
// (102), and the process may write the file (13). On a failure none has begun.
int issnapshot(std::span<const int> numbers);

// Reads the snapshot's next record, in the order of the places in the data file. 110 behind the
// last one, 105 when a record of the moment is damaged or missing: then it is no good copy.
int issnapshot_read(int number, char* record);
// The records in it, or -1.
std::int64_t issnapshot_count(int number);

// Writes the snapshot as a closed pair of files BASE, which must not be there (17). Like ISBUILD's,
// its files are those of `like` in owner and permissions; "" for none. On a failure none is left.
int issnapshot_write(int number, const char* base, const char* like, const IsWatch& watch = {});

// So does ISCLOSE.
int issnapshot_end(int number);

// Looks whether everything in the file fits: `findings` is a line for each thing that does not.
// Nobody can change the file meanwhile. 0 also when there are findings; -1 when the file could not
// be looked at.
int ischeck(int number, std::vector<std::string>& findings, const IsWatch& watch = {});

// Looks at what can be seen without walking over records and trees: both copies of the data file's
// header, and whether sizes and counts fit together. For the rest as ischeck.
int isglance(int number, std::vector<std::string>& findings);

// The outcome of isrebuild.
struct IsRebuildReport {
  std::int64_t records = 0;
  // Slots that held a record and hold no whole one, or records that the index knew and that the
  // data file has not got any more: whichever is more.
  std::int64_t lost = 0;
  // Where the data file stays as it was, when something is lost: BASE.damaged.dat, or with a number
  // when there is one (BASE.damaged-2.dat). Nothing removes it but its owner.
  std::string kept;
};

// Makes the index file of BASE again from its data file, also when it is missing or damaged. 113:
// the file is in use; 105: the data file's own header is damaged, 103: it claims impossible keys;
// nothing is changed. The new index
// has a name of its own in the same directory and is put in place when it is whole; after a failure
// (28, 116 and others) the file is as before. An index that can still be opened says which records
// are deleted; without one those deleted since the file was last flushed are there again. Space
// behind the last record is given back.
int isrebuild(const char* base, IsRebuildReport& report, const IsWatch& watch = {});

// The outcome of isrecover.
struct IsRecoverReport {
  std::int64_t records = 0;
  std::int64_t lost = 0;        // as for isrebuild, and slots that the disk does not give
  std::int64_t superseded = 0;  // whole ones left out, for a later one has the same key
  // Deleted records of which nothing says any more whether their deletion was final. They are back
  // where the file says which they can be, and otherwise left out.
  std::int64_t undecided = 0;
  // Whether the checks of the records could be looked at. Otherwise each is taken as it is, and may
  // be damaged.
  bool checked = true;
  std::string kept;  // as for isrebuild; also for an outcome that is not certain
};

// Brings back the records of a data file whose header is damaged, in both copies or in one, and
// whose index may be missing: the caller knows the record length and the keys, the primary key
// first. All records that are whole come into a new pair, which takes the place of the old one when
// it is on the disk; until then nothing is changed. 113: the file is in use; 102, 103: its header
// is whole and says otherwise; 105: nothing in it looks like such a record; EINTR: a signal to stop
// that the caller holds back (platform/stop_signals.h).
int isrecover(const char* base, int record_length, std::span<const KeyDescription> keys,
              IsRecoverReport& report, const IsWatch& watch = {});

// The outcome of iscompact; bytes of the two files.
struct IsCompactReport {
  std::int64_t records = 0;
  std::uint64_t data_before = 0;
  std::uint64_t index_before = 0;
  std::uint64_t data_after = 0;
  std::uint64_t index_after = 0;
};

// Gives back the space of deleted records: a new pair without them takes the place of the old one.
// Both exist for a while. Killed at any moment the old or the new one is there and opens. 113: the
// file is in use; 105: it is damaged (ischeck says how), nothing is changed; EINTR as above. ELOOP,
// for isrecover as well: the data file is a link.
int iscompact(const char* base, IsCompactReport& report, const IsWatch& watch = {});

// ---- Numbers in records: the same bytes on every machine, but for doubles, which stay as they are
// in memory.

std::int16_t isld_int2(const char* from);
std::int32_t isld_int4(const char* from);
double isld_double(const char* from);
void isst_int2(std::int16_t value, char* to);
void isst_int4(std::int32_t value, char* to);
void isst_double(double value, char* to);

#pragma GCC visibility pop

}  // namespace marigold
