// SPDX-License-Identifier: GPL-3.0-or-later
// Sets of changes over files of one directory and of two: done whole or not at all, whatever dies,
// fails or is locked, and never mixed with what other processes do to the records.

#include <atomic>
#include <random>
#include <set>

#include "runtime/data/access/change_journal.h"
#include "runtime/isam/common/change_step.h"
#include "runtime/platform/clock.h"
#include "runtime/platform/mapped_file.h"
#include "tests/data/support.h"
#include "tests/isam/support.h"

namespace marigold::inner::test {
namespace {

// CUSTOMER and LINES lie in data/4, ORDERS lies in data/12.
DataFile& open_book(const std::string& name) {
  if (definition_find(name) == nullptr) {
    FileDefinition file = customer();
    file.name.assign_cut(name);
    if (name == "ORDERS") file.path_class = 12;
    file.index_fields();
    definition_add(std::move(file));
  }
  DataFile& book = data_file(name);
  data_open(book, LockWait::kWait);
  return book;
}

void put(DataFile& book, int number, int amount) {
  fill(book, number);
  data_put_long(book, "SINCE", amount);
}

void book_amount(DataFile& book, int number, int amount) {
  put(book, number, amount);
  EXPECT_EQ(data_write(book), 0);
}

int amount_of(DataFile& book, int number, bool lock = false) {
  return read(book, number, lock) == kDataDone ? data_get_long(book, "SINCE") : -1;
}

std::string contents(DataFile& book) {
  std::string text;
  for (int found = data_read_first(book, 1); found == 0; found = data_read_next(book, 1))
    text += std::to_string(data_get_long(book, "SNR")) + ":" +
            std::to_string(data_get_long(book, "SINCE")) + " ";
  return text;
}

// The two files of a test: CUSTOMER and the one of this name.
struct Books {
  explicit Books(const std::string& name) : first(open_book("CUSTOMER")), second(open_book(name)) {}

  void prepare() const {
    for (const auto& [book, number, amount] :
         {std::tuple{&first, 1, 100}, {&first, 4, 7}, {&second, 1, 100}})
      book_amount(*book, number, amount);
  }
  // A change of either file, a new record that is changed once more, and a deletion.
  void collect() const {
    changes_begin();
    for (const auto& [book, number, amount] :
         {std::tuple{&first, 1, 90}, {&second, 1, 110}, {&second, 3, 5}, {&second, 3, 6}}) {
      put(*book, number, amount);
      changes_write(*book);
    }
    fill(first, 4);
    changes_delete(first);
  }
  [[nodiscard]] std::string text() const { return contents(first) + "| " + contents(second); }

  DataFile& first;
  DataFile& second;
};

constexpr const char* kBefore = "1:100 4:7 | 1:100 ";
constexpr const char* kAfter = "1:90 | 1:110 3:6 ";

// Directory of the journal that decides: the first one of the set.
std::string deciding(const std::string& name) {
  return name == "ORDERS" ? "data/12" : "data/4";
}

struct ChangeSetTest : DataTest, testing::WithParamInterface<const char*> {
  // Returns the open books as they are before a set.
  Books fresh() const {
    data_close_all();
    begin_data();
    Books books(name);
    books.prepare();
    return books;
  }
  ~ChangeSetTest() override {
    changes_drop();
    isam::change_step_hook = nullptr;
    file_fault_hook = nullptr;
  }
  const std::string name = GetParam();
};
INSTANTIATE_TEST_SUITE_P(Directories, ChangeSetTest, testing::Values("LINES", "ORDERS"));

// Whether another process can lock the record, which has this amount, within this call.
bool others_can_lock(const std::string& name, int number, int amount) {
  return elsewhere(
      [](const std::string& of, int wanted, int expected) {
        DataFile& book = open_book(of);
        fill(book, wanted);
        const int result = data_read(book, 1, true, LockWait::kTell);
        return result == kDataDone && data_get_long(book, "SINCE") == expected;
      },
      name, number, amount);
}

TEST_P(ChangeSetTest, ASetIsDoneByItsCommitAlone) {
  const Books books = fresh();
  ASSERT_EQ(read(books.first, 1, true), 0);
  books.collect();
  changes_drop();
  books.collect();
  EXPECT_EQ(books.text(), kBefore);
  EXPECT_EQ(changes_commit(LockWait::kTell), 0);
  EXPECT_EQ(books.text(), kAfter);
  if (!in_cluster()) {
    EXPECT_GE(read_file(deciding(name) + "/CHANGES.journal").find_first_not_of('\0'), 64U);
  }
  // The program's own lock stays, the others are given back.
  EXPECT_FALSE(others_can_lock("CUSTOMER", 1, 90));
  EXPECT_TRUE(others_can_lock(name, 1, 110));
  data_release(books.first);
  EXPECT_TRUE(others_can_lock("CUSTOMER", 1, 90));
  changes_begin();
  EXPECT_EQ(changes_commit(LockWait::kTell), 0);  // nothing to do
}

// A locked record, and a locked number without a record.
TEST_P(ChangeSetTest, ALockedRecordKeepsTheWholeSetBack) {
  for (const int number : {1, 3}) {
    const Books books = fresh();
    OtherProcess other(
        [](const std::string& of, int locked) {
          return read(open_book(of), locked, true) == (locked == 1 ? kDataDone : kDataNotFound);
        },
        name, number);
    ASSERT_TRUE(other.ready());
    books.collect();
    EXPECT_EQ(errors_of([] { EXPECT_EQ(changes_commit(LockWait::kTell), kDataLocked); }),
              name + " record lock active       \n");
    EXPECT_EQ(books.text(), kBefore);
    EXPECT_TRUE(others_can_lock("CUSTOMER", 1, 100));
    // The set waits with its program.
    other.kill_at_next_sleep(1);
    EXPECT_EQ(changes_commit(LockWait::kWait), 0);
    EXPECT_EQ(books.text(), kAfter);
  }
}

// A set that takes from one book what it adds to the other. It meets a lock as it reads, or, if it
// does not read with a lock, as it is committed.
int move_ten(bool locks) {
  for (const auto& [book, amount] : {std::pair{"CUSTOMER", -10}, {"LINES", 10}}) {
    DataFile& file = data_file(book);
    fill(file, 1);
    if (data_read(file, 1, locks, LockWait::kAsk) == kDataLocked) return kDataLocked;
    data_put_long(file, "SINCE", data_get_long(file, "SINCE") + amount);
    changes_write(file);
  }
  return kDataDone;
}

TEST_F(DataTest, NoLockIsKeptWhileTheUserIsAsked) {
  static OtherProcess* holder;
  static bool again;
  static int questions;
  static int pauses;
  clock_sleep_hook = [](int) { ++pauses; };
  const Books books("LINES");
  for (const auto& [locks, answer] : {std::pair{true, true}, {true, false}, {false, true}}) {
    books.prepare();
    OtherProcess other([] { return read(open_book("LINES"), 1, true) == kDataDone; });
    ASSERT_TRUE(other.ready());
    holder = &other;
    again = answer;
    questions = pauses = 0;
    user_interface().ask_for_lock = [](const char* text, const char* help_key) {
      EXPECT_STREQ(text, "LINES record lock active       ");
      EXPECT_STREQ(help_key, "__lock_");
      // Somebody else changes what the first attempt has read.
      EXPECT_TRUE(elsewhere([] {
        DataFile& book = open_book("CUSTOMER");
        EXPECT_EQ(read(book, 1, true, LockWait::kTell), kDataDone);
        data_put_long(book, "SINCE", 50);
        return data_write(book) == kDataDone;
      }));
      ++questions;
      holder->kill_it();
      return again;
    };
    EXPECT_EQ(changes_run([&locks = locks] { return move_ten(locks); }),
              answer ? kDataDone : kDataLocked);
    EXPECT_EQ(books.text(), answer ? "1:40 4:7 | 1:110 " : "1:50 4:7 | 1:100 ");
    EXPECT_EQ(questions, 1);
    EXPECT_EQ(pauses, 10);
    EXPECT_TRUE(others_can_lock("CUSTOMER", 1, answer ? 40 : 50));
    EXPECT_TRUE(others_can_lock("LINES", 1, answer ? 110 : 100));
  }
  // A lock that goes by itself leads to no question, and a set that is refused changes nothing.
  OtherProcess other([] { return read(open_book("LINES"), 1, true) == kDataDone; });
  other.kill_at_next_sleep(0);
  EXPECT_EQ(changes_run([] { return move_ten(true); }), kDataDone);
  EXPECT_EQ(changes_run([] { return move_ten(true), 77; }), 77);
  EXPECT_EQ(questions, 1);
  EXPECT_EQ(books.text(), "1:30 4:7 | 1:120 ");
}

TEST_F(DataTest, WhatASetCannotHoldEndsTheProgram) {
  for (const auto& [misuse, report] :
       {std::pair<void (*)(), const char*>{
            [] { data_open("STOCK", LockWait::kTell), changes_write(data_file("STOCK")); },
            "^STOCK: only keyed files can be part of a set of changes\nerror\n *16\n"},
        {[] { changes_drop(), changes_write(open_book("CUSTOMER")); },
         "changes_write\nerror\n *101"},
        {[] { changes_delete(data_file("CUSTOMER")); }, "changes_delete\nerror\n *101\n"},
        {[] {
           changes_write(open_book("CUSTOMER")), data_close_all();
           changes_commit(LockWait::kTell);
         },
         "changes_commit\nerror\n *101\n"},
        {[] { changes_drop(), changes_commit(LockWait::kTell); },
         "changes_commit\nerror\n *101\n"}}) {
    changes_begin();
    EXPECT_EXIT(misuse(), aborted, report);
  }
}

// ---- Deaths

// Another process that dies at a step: while it commits the set, or finishes one. False when it has
// died.
bool done_elsewhere(const std::string& name, long step, bool commits) {
  return elsewhere(
      [](const std::string& other, long at, bool own) {
        if (!own) die_at(at);
        const Books books(other);
        if (!own) return read(books.second, 1, true) == 0;
        books.collect();
        die_at(at);
        return changes_commit(LockWait::kTell) == 0;
      },
      name, step, commits);
}

// Another process dies at each step of a commit, and sometimes a third one while it finishes the
// set. A program that has the files open, and then locks or writes a record of the set, works on
// the records of the finished set; and so does one that opens them.
TEST_P(ChangeSetTest, ADeathAtAnyStepLeavesAllOrNothing) {
  std::array<int, 2> outcomes{};
  bool died = true;
  for (long step = 1; died && !HasFailure(); step += is_slow_system() ? 7 : 1) {
    SCOPED_TRACE(step);
    fresh();
    const auto way = step % 4;
    if (way == 0) data_close_all();
    died = !done_elsewhere(name, step, true);
    if (step % 3 == 0) done_elsewhere(name, step % 64, false);
    const Books again(name);
    std::string after = kAfter;
    std::string before = kBefore;
    if (way == 1) {
      book_amount(again.second, 1, amount_of(again.second, 1, true) + 1);
      after = "1:90 | 1:111 3:6 ";
      before = "1:100 4:7 | 1:101 ";
    } else if (way == 2) {
      book_amount(again.second, 1, 55);
      after = "1:90 | 1:55 3:6 ";
      before = "1:100 4:7 | 1:55 ";
    } else if (way == 3) {
      const int result = read(again.second, 3, true);
      EXPECT_EQ(result, again.text() == kAfter ? kDataDone : kDataNotFound);
    }
    // Nothing of the set comes back later.
    const std::string text = again.text();
    EXPECT_TRUE(text == after || text == before) << text;
    ++outcomes[text == after ? 1 : 0];
    data_close_all();
    const Books later(name);
    EXPECT_EQ(later.text(), text);
    later.collect();
    EXPECT_EQ(changes_commit(LockWait::kTell), 0);
    EXPECT_EQ(later.text(), kAfter);
  }
  EXPECT_GT(std::min(outcomes[0], outcomes[1]), is_slow_system() ? 1 : 10);
}

// ---- Failures

int calls_left = 0;

// A call fails as on a full disk, once: the commit reports it and has changed nothing; or, after
// the set is recorded, the process ends and the next one finishes the set.
TEST_P(ChangeSetTest, AFailureAnywhereIsReportedAndLeavesAllOrNothing) {
  std::array<int, 3> outcomes{};  // refused, ended, done
  for (int call = 0; outcomes[2] == 0 && call < 200 && !HasFailure(); ++call) {
    SCOPED_TRACE(call);
    fresh();
    data_close_all();
    std::filesystem::remove("result");
    elsewhere(
        [](const std::string& other, int at) {
          const Books books(other);
          books.collect();
          calls_left = at;
          file_fault_hook = [](FileCall) { return calls_left-- == 0 ? ENOSPC : 0; };
          int result = 0;
          const std::string errors = errors_of([&] { result = changes_commit(LockWait::kTell); });
          file_fault_hook = nullptr;
          write_file("result", std::to_string(result) + (calls_left < 0 ? " met" : ""));
          return result == 0 || errors.starts_with("nothing is changed: ");
        },
        name, call);
    const std::string result = read_file("result");
    const Books books(name);
    EXPECT_EQ(books.text(), result == "1028 met" ? kBefore : kAfter) << result;
    EXPECT_TRUE(result.empty() || result == "0" || result == "0 met" || result == "1028 met");
    ++outcomes[result == "1028 met" ? 0 : result == "0" ? 2 : 1];
  }
  EXPECT_GT(std::min(outcomes[0], outcomes[1]), 3);
  EXPECT_EQ(outcomes[2], 1);
}

// A full disk is found before the set is recorded, and the set waits for room.
TEST_P(ChangeSetTest, ASetThatFindsNoRoomChangesNothing) {
  const Books books = fresh();
  books.collect();
  for (int number = 10; number < 5000; ++number) {
    put(books.second, number, 1);
    changes_write(books.second);
  }
  file_fault_hook = [](FileCall call) { return call == FileCall::kReserve ? ENOSPC : 0; };
  errors_of([] { EXPECT_EQ(changes_commit(LockWait::kTell), 1028); });
  file_fault_hook = nullptr;
  EXPECT_EQ(books.text(), kBefore);
  EXPECT_EQ(changes_commit(LockWait::kTell), 0);
  EXPECT_EQ(amount_of(books.second, 4999), 1);
}

// ---- Power losses: of each sector the disk has the state of the last sync or the present one.

struct Disk {
  std::string name;
  std::map<std::string, std::string> durable;
  std::mt19937 random{1};
  int losses = 0;
  std::set<std::string> allowed{kBefore, kAfter};
  std::array<int, 2> outcomes{};
};
Disk* disk = nullptr;

template <typename File>
void note_durable(const File& file, std::uint64_t offset, std::uint64_t bytes) {
  for (const auto& entry : std::filesystem::recursive_directory_iterator("data")) {
    const std::string path = entry.path().generic_string();
    if (!entry.is_regular_file() || !file.is_still_at(path.c_str())) continue;
    const std::string now = read_file(path);
    std::string& durable = disk->durable[path];
    durable.resize(now.size());
    const std::string part = now.substr(offset, bytes);
    durable.replace(offset, part.size(), part);
  }
}

std::string torn(const std::string& now, const std::string& durable) {
  const auto style = disk->random() % 4;
  std::string image = now;
  for (std::size_t at = 0; at < now.size(); at += 512) {
    if (style == 0 || (style > 1 && disk->random() % 2 == 0)) continue;
    std::string sector = at < durable.size() ? durable.substr(at, 512) : "";
    sector.resize(std::min<std::size_t>(512, now.size() - at));
    image.replace(at, sector.size(), sector);
  }
  return image;
}

// The directories of the set are those of the images.
std::string moved(const std::string& journal) {
  JournalPart part;
  if (journal_parse(journal, part) != JournalState::kWhole) return journal;
  for (std::string& directory : part.directories)
    directory.replace(directory.rfind("/data/"), 0, "/lost");
  return journal_bytes(part);
}

void lose_power() {
  auto* const hook = std::exchange(isam::change_step_hook, nullptr);
  std::filesystem::create_directories("lost/data/4");
  std::filesystem::create_directories("lost/data/12");
  for (const auto& [path, durable] : disk->durable)
    write_file("lost/" + path, moved(torn(read_file(path), durable)));
  for (const std::string base :
       {"lost/data/4/CUSTOMER", "lost/data/4/LINES", "lost/data/12/ORDERS"})
    if (disk->durable.contains(base.substr(5) + ".idx")) pass_for_own(base);
  EXPECT_TRUE(elsewhere(
      [](const std::string& name, int run) {
        const OtherRun after(run);
        std::filesystem::current_path("lost");
        const Books books(name);
        std::filesystem::current_path("..");
        write_file("found", books.text());
        return true;
      },
      disk->name, OtherRun::number() + 1));
  const std::string found = read_file("found");
  EXPECT_TRUE(disk->allowed.contains(found)) << found << "after loss " << disk->losses;
  ++disk->outcomes[found == kAfter ? 1 : 0];
  ++disk->losses;
  std::filesystem::remove_all("lost");
  isam::change_step_hook = hook;
}

TEST_P(ChangeSetTest, APowerLossAtAnyStepLeavesAllOrNothing) {
  Disk state;
  state.name = name;
  fresh();
  data_close_all();
  for (const auto& entry : std::filesystem::recursive_directory_iterator("data"))
    if (entry.is_regular_file())
      state.durable[entry.path().generic_string()] = read_file(entry.path().string());
  const Books books(name);
  books.collect();
  disk = &state;
  file_synced_hook = [](const MappedFile& file, std::uint64_t offset, std::uint64_t bytes) {
    note_durable(file, offset, bytes);
  };
  record_synced_hook = [](const RecordFile& file) { note_durable(file, 0, std::string::npos); };
  isam::change_step_hook = [] {
    if (disk->random() % 3 == 0) lose_power();
  };
  EXPECT_EQ(changes_commit(LockWait::kTell), 0);
  isam::change_step_hook = nullptr;
  const auto lose_often = [&](const char* allowed) {
    EXPECT_EQ(books.text(), allowed);
    state.allowed = {allowed};
    for (int count = 0; count < 8; ++count)
      lose_power();
  };
  lose_often(kAfter);
  // The set does not come back over newer records.
  book_amount(books.first, 1, 80);
  EXPECT_EQ(ISFLUSH(books.first.engine.descriptor), 0);
  lose_often("1:80 | 1:110 3:6 ");
  file_synced_hook = nullptr;
  record_synced_hook = nullptr;
  EXPECT_GT(std::min(state.outcomes[0], state.outcomes[1]), 3);
  disk = nullptr;
}

// ---- Many processes

constexpr int kAccounts = 10;  // half of them in each file
constexpr int kAmount = 1000;

struct Bank {
  std::atomic<int> commits = 0;
  std::atomic<int> booked = 0;  // by programs that change single records
  std::atomic<bool> ends = false;
};

DataFile& book_of(const Books& books, int account) {
  return account < kAccounts / 2 ? books.first : books.second;
}

DataFile& lock_account(const Books& books, int account) {
  DataFile& book = book_of(books, account);
  EXPECT_EQ(read(book, account, true), 0);
  return book;
}

// Moves amounts between accounts until it dies within a commit. Locks in the order of the accounts.
void transfer(const std::string& name, unsigned seed, long lives) {
  begin_process();
  clock_sleep_hook = [](int) { sleep_us(100); };
  const Shared<Bank> bank("bank");
  const Books books(name);
  std::mt19937 random(seed);
  die_later(lives);
  while (!bank->ends) {
    const int account = static_cast<int>(random() % (kAccounts - 1));
    const int other = account + 1 + static_cast<int>(random() % (kAccounts - account - 1));
    changes_begin();
    for (const auto& [one, sign] : {std::pair{account, -1}, {other, 1}}) {
      DataFile& book = lock_account(books, one);
      data_put_long(book, "SINCE", data_get_long(book, "SINCE") + sign);
      changes_write(book);
    }
    EXPECT_EQ(changes_commit(LockWait::kWait), 0);
    ++bank->commits;
    data_release(books.first);
    data_release(books.second);
  }
}

// Changes single records under a lock, without any set.
void book_singly(const std::string& name, unsigned seed) {
  begin_process();
  clock_sleep_hook = [](int) { sleep_us(100); };
  const Shared<Bank> bank("bank");
  const Books books(name);
  std::mt19937 random(seed);
  while (!bank->ends) {
    DataFile& book = lock_account(books, static_cast<int>(random() % kAccounts));
    data_put_long(book, "SINCE", data_get_long(book, "SINCE") + 1);
    EXPECT_EQ(data_write(book), 0);
    ++bank->booked;
    data_release(book);
  }
}

TEST_P(ChangeSetTest, NothingIsLostAmongProcessesThatDie) {
  const Books books(name);
  for (int account = 0; account < kAccounts; ++account)
    book_amount(book_of(books, account), account, kAmount);
  data_close_all();
  const Shared<Bank> bank("bank");
  std::mt19937 random(9);
  const auto spawn = [&] {
    return start_child(
        [](const std::string& of, unsigned seed, long lives) { transfer(of, seed, lives); }, name,
        static_cast<unsigned>(random()), static_cast<long>(random() % 600 + 1));
  };
  std::array<Process, 2> movers{spawn(), spawn()};
  Process booker = start_child([](const std::string& of, unsigned seed) { book_singly(of, seed); },
                               name, static_cast<unsigned>(random()));
  const int deaths = amount(is_slow_system() ? 10 : 60, 3000);
  for (int count = 0; count < deaths && !HasFailure(); ++count) {
    Process& mover = movers[static_cast<std::size_t>(count % 2)];
    EXPECT_EQ(mover.wait(), kKilled);
    mover = spawn();
  }
  bank->ends = true;
  for (Process& mover : movers)
    mover.wait();
  EXPECT_EQ(booker.wait(), 0);
  const Books after(name);
  int sum = 0;
  for (int account = 0; account < kAccounts; ++account)
    sum += amount_of(book_of(after, account), account);
  EXPECT_EQ(sum, kAccounts * kAmount + bank->booked);
  EXPECT_GT(bank->commits, in_cluster() ? 0 : deaths / 2);
  std::printf("[ killed ] %d times among %d sets and %d single bookings\n", deaths,
              bank->commits.load(), bank->booked.load());
}

// ---- Journals that cannot be finished

// Leaves a set that is recorded and not done.
void die_recorded(const std::string& name) {
  EXPECT_FALSE(elsewhere(
      [](const std::string& other) {
        const Books books(other);
        books.collect();
        die_when_recorded(deciding(other));
        return changes_commit(LockWait::kTell) == 0;
      },
      name));
}

// A program reports the set that it cannot finish; once the reason is gone, it finishes the set.
TEST_P(ChangeSetTest, AnUnfinishedSetIsReportedUntilItCanBeFinished) {
  struct Row {
    const char* file;
    void (*spoil)(const std::string& path);
    const char* report;
  };
  for (const Row& row : std::initializer_list<Row>{
           {"data/4/CUSTOMER.idx", [](const std::string& path) { std::filesystem::remove(path); },
            "data/4/CUSTOMER is missing; removing the journal drops an unfinished set"},
           {"data/4/CUSTOMER.ver", [](const std::string& path) { write_file(path, "2\n"); },
            "its records have version 2, the set has version 3"},
           {"data/4/CUSTOMER.dat", [](const std::string& path) { write_file(path, "no data"); },
            "CUSTOMER: it is damaged"},
           {"",
            [](const std::string& path) {
              write_file(path, "\xFE\x43\2" + read_file(path).substr(3));
            },
            "CHANGES.journal: another version of the runtime has written it"}}) {
    SCOPED_TRACE(row.report);
    fresh();
    data_close_all();
    die_recorded(name);
    const std::string path = *row.file == '\0' ? deciding(name) + "/" + kChangeJournal : row.file;
    const std::string content = read_file(path);
    row.spoil(path);
    EXPECT_EXIT(data_open(name, LockWait::kTell), aborted,
                "^a set of changes cannot be finished: .*"s + row.report);
    std::string record(42, '\0');  // of the other file, which is as before
    isst_int4(1, record.data());
    const int other = ISOPEN((deciding(name) + "/" + name).c_str(), kIsInput);
    EXPECT_EQ(ISREAD(other, record.data(), kIsEqual), 0);
    EXPECT_EQ(isld_int4(record.data() + 29), 100);
    ISCLOSE(other);
    write_file(path, content);
    EXPECT_EQ(Books(name).text(), kAfter);
  }
}

TEST_P(ChangeSetTest, RemovingTheJournalDropsTheSet) {
  const Books books = fresh();  // open all the time, with the marks of the dead writer
  die_recorded(name);
  std::filesystem::remove(deciding(name) + "/" + kChangeJournal);
  EXPECT_EQ(amount_of(books.first, 1, true), 100);
  EXPECT_EQ(amount_of(books.second, 1, true), 100);
  EXPECT_EQ(books.text(), kBefore);
}

TEST_F(DataTest, AJournalIsWholeOrNot) {
  const JournalPart part{.set = "0123456789abcdef",
                         .changes_of_set = 3,
                         .directories = {"/a", "/b"},
                         .changes = {{1, false, 3, "CUSTOMER", "record"}, {2, true, -1, "B", "r"}}};
  const std::string bytes = journal_bytes(part);
  JournalPart found;
  ASSERT_EQ(journal_parse(bytes + "older", found), JournalState::kWhole);
  EXPECT_EQ(journal_bytes(found), bytes);
  EXPECT_EQ(found.changes[1].version, -1);
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    const JournalState cut = journal_parse(bytes.substr(0, length), found);
    EXPECT_EQ(cut, length < 2 ? JournalState::kEmpty : JournalState::kTorn) << length;
    std::string changed = bytes;
    changed[length] = static_cast<char>(changed[length] ^ 0x10);
    EXPECT_NE(journal_parse(changed, found), JournalState::kWhole) << length;
  }
  JournalPart foreign = part;
  foreign.changes[0].name = "../OTHER";
  EXPECT_EQ(journal_parse(journal_bytes(foreign), found), JournalState::kOther);
}

}  // namespace
}  // namespace marigold::inner::test
