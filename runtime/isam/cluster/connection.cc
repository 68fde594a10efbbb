// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/cluster/connection.h"

#include <cerrno>
#include <utility>

#include "runtime/isam/cluster/row_stream.h"
#include "runtime/isam/common/isam.h"
#include "runtime/isam/common/reason.h"
#include "runtime/platform/private_descriptors.h"

namespace marigold::inner::isam {
namespace {

struct State {
  std::uint64_t connections = 0;
  std::uint64_t statements = 0;
};

State state;

// Settings of every connection. A program that has lost its server, or its network, must find out
// within the time in which it can still do something about it; users may set others in the address.
constexpr std::pair<const char*, const char*> kDefaults[] = {{"target_session_attrs", "read-write"},
                                                             {"connect_timeout", "5"},
                                                             {"keepalives_idle", "5"},
                                                             {"keepalives_interval", "3"},
                                                             {"keepalives_count", "3"},
                                                             {"tcp_user_timeout", "15000"}};

// What each connection begins with. Every walk has to follow its index, whether the server has
// statistics of the table or not. A statement that no index serves then counts as very expensive,
// and the server would compile it to machine code first, which takes longer than all else. A row
// is locked for the moment of a change only; whoever waits for one for longer meets a program that
// has been stopped in the middle of a transaction. The operator may set another time for that.
constexpr const char* kSettings =
    "SET synchronous_commit = off; SET default_transaction_isolation = 'read committed'; "
    "SET plan_cache_mode = force_generic_plan; SET enable_seqscan = off; SET enable_sort = off; "
    "SET enable_bitmapscan = off; SET jit = off; "
    "SELECT set_config('lock_timeout', '10s', false) WHERE current_setting('lock_timeout') = '0'; "
    // The server, too, must notice that a client's machine is gone: it has the client's locks.
    "SET tcp_keepalives_idle = 10; SET tcp_keepalives_interval = 5; SET tcp_keepalives_count = 3; "
    "SET client_min_messages = error; SET standard_conforming_strings = on; "
    "SET client_encoding = 'UTF8'; SET search_path = pg_catalog";

void ignore_notice(void* /*unused*/, const char* /*message*/) {}

// Parameters of a connection, as libpq takes them.
class Parameters {
 public:
  Parameters(const ClientLibrary& library, const std::string& server,
             const std::string& application)
      : library_(library) {
    char* error = nullptr;
    options_ = library.PQconninfoParse(server.c_str(), &error);
    if (options_ == nullptr) reason_ = error == nullptr ? "out of memory" : error;
    library.PQfreemem(error);
    for (const PQconninfoOption* option = options_; option != nullptr && option->keyword != nullptr;
         ++option) {
      if (option->val != nullptr) add(option->keyword, option->val);
    }
    for (const auto& [name, value] : kDefaults) {
      if (!has(name)) add(name, value);
    }
    add("application_name", application.c_str());
    add(nullptr, nullptr);
  }
  Parameters(const Parameters&) = delete;
  Parameters& operator=(const Parameters&) = delete;
  ~Parameters() { library_.PQconninfoFree(options_); }

  [[nodiscard]] const std::string& reason() const { return reason_; }
  [[nodiscard]] const char* const* names() const { return names_.data(); }
  [[nodiscard]] const char* const* values() const { return values_.data(); }

 private:
  void add(const char* name, const char* value) {
    names_.push_back(name);
    values_.push_back(value);
  }
  [[nodiscard]] bool has(std::string_view name) const {
    for (const char* known : names_) {
      if (name == known) return true;
    }
    return false;
  }

  const ClientLibrary& library_;
  PQconninfoOption* options_ = nullptr;
  std::string reason_;
  std::vector<const char*> names_;
  std::vector<const char*> values_;
};

// Returns a message of the library or the server as one line.
std::string one_line(std::string_view message) {
  std::string line;
  for (const char character : message) {
    if (character != '\n' && character != '\t') {
      line += character;
    } else if (!line.empty() && !line.ends_with(' ')) {
      line += character == '\n' ? "; " : " ";
    }
  }
  while (line.ends_with(' ') || line.ends_with(';'))
    line.pop_back();
  return line;
}

// Whether a refusal with these words is one of a moment: by a server that was there to refuse and is
// gone now, so it was ending; or by a standby that will soon take the place of the other one. A host
// that does not exist, or a password that is wrong, is for the user.
bool is_on_the_way(std::string_view reason, bool gone) {
  const auto has = [&](std::string_view words) {
    return reason.find(words) != std::string_view::npos;
  };
  return (gone && has("FATAL")) || has("session is read-only") || has("in hot standby mode");
}

struct StateNumber {
  std::string_view code;  // or the first two characters of a class
  int number;
};

// States of SQL that mean something to the engine or its caller.
constexpr StateNumber kNumbers[] = {
    {"23505", kIsDuplicate}, {"40", kAgain},       {"22012", kDivided}, {"42P01", kNoTable},
    {"3F000", kNoTable},     {"55P03", kIsLocked}, {"53100", ENOSPC},   {"53200", kIsNoLock},
    {"42501", EACCES},       {"25006", kLost},     {"57P", kLost},      {"08", kLost}};

int number_of(std::string_view code) {
  for (const StateNumber& known : kNumbers) {
    if (code.starts_with(known.code)) return known.number;
  }
  return kIsServer;
}

std::string quoted(std::string_view text, char quote) {
  std::string result(1, quote);
  for (const char character : text) {
    if (character == quote) result += quote;
    result += character;
  }
  return result + quote;
}

}  // namespace

// ---- Values

Number::Number(std::int64_t value) {
  auto bits = static_cast<std::uint64_t>(value);
  for (std::size_t i = bytes_.size(); i-- > 0; bits >>= 8)
    bytes_[i] = static_cast<char>(bits & 0xFF);
}

Rows::Rows(Rows&& other) noexcept
    : library_(other.library_), result_(std::exchange(other.result_, nullptr)) {}

Rows& Rows::operator=(Rows&& other) noexcept {
  clear();
  library_ = other.library_;
  result_ = std::exchange(other.result_, nullptr);
  return *this;
}

void Rows::clear() {
  if (result_ != nullptr) library_->PQclear(std::exchange(result_, nullptr));
}

int Rows::count() const {
  return result_ == nullptr ? 0 : library_->PQntuples(result_);
}

bool Rows::is_null(int row, int column) const {
  return library_->PQgetisnull(result_, row, column) != 0;
}

std::string_view Rows::bytes(int row, int column) const {
  return {library_->PQgetvalue(result_, row, column),
          static_cast<std::size_t>(library_->PQgetlength(result_, row, column))};
}

std::int64_t Rows::number(int row, int column) const {
  const std::string_view value = bytes(row, column);
  // The sign of a bigint is in its first byte; shorter numbers of the engine are not negative.
  std::uint64_t bits = 0;
  for (const char byte : value)
    bits = bits << 8 | static_cast<unsigned char>(byte);
  return static_cast<std::int64_t>(bits);
}

// ---- Connecting

int Connection::open(const std::string& application) {
  close();
  std::string reason;
  library_ = client_library(reason);
  if (library_ == nullptr) return refuse(kIsServer, reason);
  const Parameters parameters(*library_, server_, application);
  if (!parameters.reason().empty()) return refuse(kIsServer, one_line(parameters.reason()));
  owner_ = private_descriptor_owner();
  connection_ = library_->PQconnectdbParams(parameters.names(), parameters.values(), 0);
  if (connection_ == nullptr) return kIsNoMemory;
  if (library_->PQstatus(connection_) != CONNECTION_OK) {
    const PGPing answer = library_->PQpingParams(parameters.names(), parameters.values(), 0);
    reason = words();
    starting_ = answer == PQPING_REJECT || is_on_the_way(reason, answer == PQPING_NO_RESPONSE);
    close();
    return refuse(kIsServer, reason);
  }
  starting_ = false;
  number_ = ++state.connections;
  library_->PQsetNoticeProcessor(connection_, ignore_notice, nullptr);
  private_descriptor_add(library_->PQsocket(connection_));
  return command(kSettings);
}

bool Connection::is_ours() const {
  return owner_ == private_descriptor_owner();
}

bool Connection::is_open() const {
  return connection_ != nullptr && is_ours();
}

void Connection::close() {
  end_copy_out();
  PGconn* const connection = std::exchange(connection_, nullptr);
  // The end of a connection is sent to the server, where the parent goes on using it.
  if (connection == nullptr || !is_ours()) return;
  if (const int socket = library_->PQsocket(connection); socket >= 0)
    private_descriptor_remove(socket);
  library_->PQfinish(connection);
}

int Connection::lose() {
  close();
  return kLost;
}

std::string Connection::words() const {
  return one_line(library_->PQerrorMessage(connection_));
}

std::string Connection::place() const {
  return place_ + (schema_ == nullptr ? "" : ", schema " + *schema_);
}

int Connection::refuse(int number, std::string_view reason) const {
  return isam::refuse(number, place() + ": " + std::string(reason));
}

int Connection::refuse_record(const std::string& file) const {
  return refuse(kIsBadFile, "a record of " + file + " has a wrong length");
}

int Connection::refuse_table_in_use() const {
  return refuse(kIsServer, "other sessions of the server are using a table");
}

std::string Connection::last_words() const {
  std::string words = noted_reason();
  const std::string before = place() + ": ";
  if (words.starts_with(before)) words.erase(0, before.size());
  return words;
}

// ---- Statements

int Connection::send(const Step& step, bool sync) {
  Statement& statement = *step.statement;
  if (statement.name.empty() && !statement.once)
    statement.name = "m" + std::to_string(++state.statements);
  const char* const name = statement.name.c_str();
  const auto count = static_cast<int>(step.parameters.size());
  if (statement.connection != number_ &&
      library_->PQsendPrepare(connection_, name, statement.text.c_str(), 0, nullptr) == 0)
    return lose();
  std::array<const char*, 32> values{};
  std::array<int, 32> lengths{};
  std::array<int, 32> formats{};
  for (std::size_t i = 0; i < step.parameters.size(); ++i) {
    values[i] = step.parameters[i].data();
    lengths[i] = static_cast<int>(step.parameters[i].size());
    formats[i] = 1;
  }
  if (library_->PQsendQueryPrepared(connection_, name, count, values.data(), lengths.data(),
                                    formats.data(), 1) == 0)
    return lose();
  return !sync || library_->PQpipelineSync(connection_) != 0 ? 0 : lose();
}

// Returns the number that a failure has.
int Connection::judge(PGresult* result) {
  const char* const code = library_->PQresultErrorField(result, PG_DIAG_SQLSTATE);
  if (code == nullptr) return lose();  // the library's own: the connection is gone
  const int number = number_of(code);
  if (number == kIsDuplicate || number == kIsLocked || (number < 0 && number != kLost))
    return number;
  const char* const text = library_->PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY);
  const char* const detail = library_->PQresultErrorField(result, PG_DIAG_MESSAGE_DETAIL);
  std::string reason = one_line(text == nullptr ? code : text);
  if (detail != nullptr) reason.append(" (").append(one_line(detail)).append(")");
  if (number != kLost) return refuse(number, reason);
  static_cast<void>(refuse(kIsServer, reason));  // if there is no other connection to be had
  return lose();
}

int Connection::take(PGresult* result, Rows& rows) {
  rows = Rows(*library_, result);
  switch (library_->PQresultStatus(result)) {
    case PGRES_COMMAND_OK:
    case PGRES_TUPLES_OK:
      return 0;
    case PGRES_PIPELINE_ABORTED:
      return kAgain;  // the failure before counts
    default:
      return judge(result);
  }
}

// Takes what follows a result, up to the null pointer after it. The commit comes after the result of
// its statement, so a server that ends meanwhile sends the result first, and then that it has not
// committed.
int Connection::end_results() {
  int failed = 0;
  while (connection_ != nullptr) {
    PGresult* const more = library_->PQgetResult(connection_);
    if (more == nullptr) break;
    Rows unused;
    const int result = take(more, unused);
    if (failed == 0) failed = result;
  }
  return failed;
}

// Takes the end of a pipeline, which comes after the commit and its failure.
int Connection::end_pipeline() {
  int failed = 0;
  for (int pauses = 0; connection_ != nullptr && pauses < 3;) {
    PGresult* const end = library_->PQgetResult(connection_);
    if (end == nullptr) {
      ++pauses;
    } else if (library_->PQresultStatus(end) == PGRES_PIPELINE_SYNC) {
      library_->PQclear(end);
      return library_->PQexitPipelineMode(connection_) != 0 ? failed : lose();
    } else {
      Rows unused;
      const int result = take(end, unused);
      if (failed == 0) failed = result;
    }
  }
  return lose();
}

int Connection::run(std::span<const Step> steps, std::span<Rows> rows) {
  if (const int failed = settle()) return failed;
  const auto is_known = [&](const Step& step) { return step.statement->connection == number_; };
  const bool pipeline = steps.size() > 1 || !is_known(steps.front());
  if (pipeline && library_->PQenterPipelineMode(connection_) == 0) return lose();
  std::vector<Statement*> prepared;
  for (const Step& step : steps) {
    const bool known = is_known(step);
    if (const int failed = send(step, &step == &steps.back() && pipeline)) return failed;
    prepared.push_back(known ? nullptr : step.statement);
    step.statement->connection = step.statement->once ? 0 : number_;
  }
  int failed = 0;
  Rows unused;
  const auto next = [&](Rows& to) {
    PGresult* const result = library_->PQgetResult(connection_);
    if (result == nullptr) return lose();
    const int taken = take(result, to);
    const int ended = end_results();
    return taken != 0 ? taken : ended;
  };
  for (std::size_t i = 0; i < steps.size() && connection_ != nullptr; ++i) {
    int result = prepared[i] != nullptr ? next(unused) : 0;
    if (result != 0) prepared[i]->connection = 0;
    if (connection_ != nullptr) {
      const int ran = next(rows[i]);
      if (result == 0) result = ran;
    }
    if (failed == 0 && result != 0) failed_step_ = i;
    if (failed == 0) failed = result;
  }
  if (connection_ == nullptr) return kLost;
  if (!pipeline) return failed;
  const int ended = end_pipeline();
  return failed != 0 && connection_ != nullptr ? failed : ended;
}

int Connection::command(const std::string& text, Rows& rows) {
  if (const int failed = settle()) return failed;
  PGresult* const result = library_->PQexec(connection_, text.c_str());
  const int failed = result == nullptr ? lose() : take(result, rows);
  // Commands make, change and remove tables; they meet programs of others, such as a long query.
  return failed == kIsLocked ? refuse_table_in_use() : failed;
}

int Connection::command(const std::string& text) {
  Rows unused;
  return command(text, unused);
}

// ---- Copying

int Connection::check_copy(PGresult* result, ExecStatusType wanted) {
  if (result == nullptr) return lose();
  const Rows owner(*library_, result);
  return library_->PQresultStatus(result) == wanted ? 0 : judge(result);
}

int Connection::copy_in_begin(const std::string& text) {
  if (const int failed = settle()) return failed;
  const int failed = check_copy(library_->PQexec(connection_, text.c_str()), PGRES_COPY_IN);
  return failed == kIsLocked ? refuse_table_in_use() : failed;
}

int Connection::copy_in(std::string_view bytes) {
  const auto length = static_cast<int>(bytes.size());
  return library_->PQputCopyData(connection_, bytes.data(), length) == 1 ? 0 : lose();
}

int Connection::copy_in_end(bool keep) {
  if (library_->PQputCopyEnd(connection_, keep ? nullptr : "stopped") != 1) return lose();
  const int failed = check_copy(library_->PQgetResult(connection_), PGRES_COMMAND_OK);
  const int ended = end_results();
  return failed != 0 ? failed : ended;
}

int Connection::copy_out_begin(const std::string& text, RowStream& reader) {
  if (const int failed = settle()) return failed;
  if (const int failed = check_copy(library_->PQexec(connection_, text.c_str()), PGRES_COPY_OUT))
    return failed;
  copies_out_ = true;
  reader_ = &reader;
  reader.connection_ = this;
  return 0;
}

bool Connection::copy_out(std::string& message) {
  if (!copies_out_ || !is_open()) return false;
  char* bytes = nullptr;
  const int length = library_->PQgetCopyData(connection_, &bytes, 0);
  if (length >= 0) message.assign(bytes, static_cast<std::size_t>(length));
  library_->PQfreemem(bytes);
  if (length >= 0) return true;
  end_copy_out();
  static_cast<void>(end_results());
  return false;
}

void Connection::end_copy_out() {
  copies_out_ = false;
  if (RowStream* const reader = std::exchange(reader_, nullptr)) reader->connection_ = nullptr;
}

// Makes the connection free for other work. kLost if it is not open.
int Connection::settle() {
  if (!is_open()) return kLost;
  for (std::string message; copies_out_ && copy_out(message);) {
    if (reader_ != nullptr) reader_->kept_.push_back(std::move(message));
  }
  return is_open() ? 0 : kLost;
}

std::string Connection::quoted_name(std::string_view name) {
  return quoted(name, '"');
}

// Backslashes are ordinary characters: standard_conforming_strings is on by default, and is a
// setting that is kept only for programs of long ago.
std::string Connection::quoted_text(std::string_view text) {
  return quoted(text, '\'');
}

}  // namespace marigold::inner::isam
