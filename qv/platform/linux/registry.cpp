// A hive is one database with two tables, keys and values. Names compare without case for all of Unicode
// through a collation of our own, since SQLite's covers ASCII only. Write-ahead logging keeps readers and
// writers of several processes out of each other's way.
#include "qv/platform/registry.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unicode/uchar.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "qv/platform/win32.h"

struct HKEY__ {
  int hive;
  int64_t id;
  REGSAM access;
};

namespace {

using NameView = std::u16string_view;

constexpr int kBusyMilliseconds = 30000;
constexpr int kLookMilliseconds = 20;
constexpr size_t kLongestKeyName = 255;
constexpr size_t kLongestValueName = 16383;
constexpr int64_t kRootKey = 1;

// The statements of a hive, prepared once.
enum Query {
  kFindKey,
  kKeyExists,
  kAddKey,
  kDeleteKey,
  kEmptyKeys,
  kEmptyValues,
  kListKey,
  kReadValue,
  kWriteValue,
  kDeleteValue,
  kListValue,
  kBegin,
  kCommit,
  kRollback,
  kQueryCount
};

constexpr const char* kQueries[kQueryCount] = {
    "SELECT id FROM keys WHERE parent = ?1 AND name = ?2",
    "SELECT 1 FROM keys WHERE id = ?1",
    "INSERT INTO keys (parent, name) VALUES (?1, ?2)",
    "DELETE FROM keys WHERE id = ?1",
    "DELETE FROM keys WHERE parent = ?1",
    "DELETE FROM vals WHERE key = ?1",
    "SELECT name, id FROM keys WHERE parent = ?1 ORDER BY name LIMIT 1 OFFSET ?2",
    // A row without a type says that the key is there and the value isn't.
    ("SELECT vals.type, vals.data FROM keys LEFT JOIN vals ON vals.key = keys.id AND vals.name = ?2 "
     "WHERE keys.id = ?1"),
    ("INSERT INTO vals (key, name, type, data) VALUES (?1, ?2, ?3, ?4) "
     "ON CONFLICT (key, name) DO UPDATE SET type = ?3, data = ?4"),
    "DELETE FROM vals WHERE key = ?1 AND name = ?2",
    "SELECT name, type, data FROM vals WHERE key = ?1 ORDER BY name LIMIT 1 OFFSET ?2",
    "BEGIN IMMEDIATE",
    "COMMIT",
    "ROLLBACK",
};

// Numbers of deleted keys never come back, and each database begins at a number of its own: an open handle
// must not lead to a stranger's key, not even in the database that took the place of a damaged one.
constexpr const char* kSchema =
    "PRAGMA encoding = 'UTF-16le';"
    "PRAGMA journal_mode = WAL;"
    "PRAGMA synchronous = NORMAL;"
    "PRAGMA foreign_keys = ON;"
    "CREATE TABLE IF NOT EXISTS keys (id INTEGER PRIMARY KEY AUTOINCREMENT, parent INTEGER REFERENCES keys "
    "ON DELETE CASCADE,"
    " name TEXT COLLATE caseless NOT NULL, UNIQUE (parent, name));"
    "CREATE TABLE IF NOT EXISTS vals (key INTEGER NOT NULL REFERENCES keys ON DELETE CASCADE,"
    " name TEXT COLLATE caseless NOT NULL, type INTEGER NOT NULL, data BLOB NOT NULL, PRIMARY KEY (key, "
    "name))"
    " WITHOUT ROWID;"
    "INSERT OR IGNORE INTO keys (id, parent, name) VALUES (1, NULL, '');"
    "UPDATE sqlite_sequence SET seq = abs(random() % 4503599627370496) WHERE name = 'keys' AND seq = 1;";

char16_t upper(char16_t unit) {
  if (unit < 0x80) return unit >= 'a' && unit <= 'z' ? static_cast<char16_t>(unit - 32) : unit;
  const UChar32 mapped = u_toupper(unit);
  return mapped <= 0xffff ? static_cast<char16_t>(mapped) : unit;
}

// A name as the database holds it, at any address: to have it aligned would cost a copy for each comparison.
struct StoredName {
  const char* bytes;
  int size;
  char16_t operator[](int index) const {
    char16_t unit;
    memcpy(&unit, bytes + 2 * index, sizeof unit);
    return unit;
  }
};

int compareNames(void*, int bytesA, const void* a, int bytesB, const void* b) {
  const StoredName nameA = {static_cast<const char*>(a), bytesA / 2};
  const StoredName nameB = {static_cast<const char*>(b), bytesB / 2};
  const int common = std::min(nameA.size, nameB.size);
  for (int i = 0; i < common; ++i) {
    const char16_t unitA = nameA[i], unitB = nameB[i];
    if (unitA == unitB) continue;
    const int difference = upper(unitA) - upper(unitB);
    if (difference != 0) return difference;
  }
  return nameA.size - nameB.size;
}

std::string environmentFolder(const char* variable, const std::string& otherwise) {
  const char* value = getenv(variable);
  if (value == nullptr || value[0] != '/') return otherwise;
  return std::string(value, strcspn(value, ":"));
}

std::string hivePath(bool machine) {
  const char* home = getenv("HOME");
  const std::string user =
      environmentFolder("XDG_CONFIG_HOME", std::string(home != nullptr ? home : "") + "/.config");
  const bool systemWide = machine && geteuid() == 0;
  const std::string folder = systemWide ? environmentFolder("XDG_CONFIG_DIRS", "/etc/xdg") : user;
  return folder + (machine ? "/qv/machine.registry" : "/qv/user.registry");
}

void makeFolders(const std::string& path) {
  for (size_t at = path.find('/', 1); at != std::string::npos; at = path.find('/', at + 1)) {
    mkdir(path.substr(0, at).c_str(), 0700);
  }
}

LSTATUS errorOf(int result) {
  switch (result & 0xff) {
    case SQLITE_OK:
    case SQLITE_DONE:
    case SQLITE_ROW:
      return ERROR_SUCCESS;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      return ERROR_REGISTRY_CORRUPT;
    case SQLITE_NOMEM:
      return ERROR_OUTOFMEMORY;
    case SQLITE_FULL:
      return ERROR_DISK_FULL;
    case SQLITE_READONLY:
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
    case SQLITE_AUTH:
      return ERROR_ACCESS_DENIED;
    default:
      return ERROR_REGISTRY_IO_FAILED;
  }
}

// Held by one process at a time. Where the folder admits no lock, nobody could write there either.
class FileLock {
 public:
  explicit FileLock(const std::string& path)
      : descriptor_(::open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
    if (descriptor_ >= 0) flock(descriptor_, LOCK_EX);
  }
  ~FileLock() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

  bool held() const { return descriptor_ >= 0; }

 private:
  int descriptor_;
};

// One database, opened when first needed and kept to the end of the process. All access is under its lock.
class Hive {
 public:
  explicit Hive(bool machine) : machine_(machine) {}

  std::mutex& lock() { return lock_; }

  // Opens the database unless it is. Reading looks only now and then whether the file is still the one of that
  // name, writing each time: a value that is out of date for a moment does no harm, one that is lost would.
  LSTATUS open(bool forReading) {
    if (database_ != nullptr && ((forReading && wasSeenJustNow()) || isStillThere())) return ERROR_SUCCESS;
    close();
    path_ = hivePath(machine_);
    makeFolders(path_);
    const LSTATUS status = openAlone();
    if (status == ERROR_REGISTRY_CORRUPT) setAside();
    return status;
  }

  // Runs a statement to its first row or its end; the result of sqlite3_step. Damage is dealt with here.
  int step(sqlite3_stmt* statement) {
    const int result = sqlite3_step(statement);
    if (errorOf(result) == ERROR_REGISTRY_CORRUPT) damaged_ = true;
    return result;
  }

  sqlite3_stmt* statement(Query query) { return statements_[query]; }
  int64_t lastRow() const { return sqlite3_last_insert_rowid(database_); }
  int changes() const { return sqlite3_changes(database_); }

  // Called when no statement is in use any more.
  void settle() {
    if (!damaged_) return;
    damaged_ = false;
    setAside();
  }

  LSTATUS flush() {
    if (const LSTATUS status = open(false); status != ERROR_SUCCESS) return status;
    const int result = sqlite3_exec(database_,
                                    "PRAGMA synchronous = FULL; PRAGMA wal_checkpoint(FULL);"
                                    "PRAGMA synchronous = NORMAL;",
                                    nullptr, nullptr, nullptr);
    return errorOf(result);
  }

 private:
  // Two processes that turn a new database to write-ahead logging at once would trip over each other.
  LSTATUS openAlone() {
    const FileLock alone(path_);
    return openDatabase();
  }

  LSTATUS openDatabase() {
    constexpr int kFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
    int result = sqlite3_open_v2(path_.c_str(), &database_, kFlags, nullptr);
    if (result == SQLITE_OK) {
      sqlite3_busy_timeout(database_, kBusyMilliseconds);
      sqlite3_create_collation(database_, "caseless", SQLITE_UTF16LE, nullptr, compareNames);
      result = sqlite3_exec(database_, kSchema, nullptr, nullptr, nullptr);
    }
    for (int i = 0; i < kQueryCount && result == SQLITE_OK; ++i) {
      result =
          sqlite3_prepare_v3(database_, kQueries[i], -1, SQLITE_PREPARE_PERSISTENT, &statements_[i], nullptr);
    }
    if (result != SQLITE_OK) close();
    rememberFile();
    return errorOf(result);
  }

  // Another process may have set the file aside meanwhile: what is written there would be lost.
  bool isStillThere() {
    struct stat facts;
    seen_ = now();
    return ::stat(path_.c_str(), &facts) == 0 && facts.st_ino == file_.st_ino && facts.st_dev == file_.st_dev;
  }

  static int64_t now() {
    timespec time;
    clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
    return int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1000000;
  }

  bool wasSeenJustNow() const { return now() - seen_ < kLookMilliseconds; }

  void rememberFile() {
    if (::stat(path_.c_str(), &file_) != 0) file_ = {};
  }

  void close() {
    for (sqlite3_stmt*& statement : statements_) {
      sqlite3_finalize(statement);
      statement = nullptr;
    }
    sqlite3_close(database_);
    database_ = nullptr;
  }

  // Several processes may meet the damage at once: only the first moves the file, the others find a whole
  // one.
  void setAside() {
    close();
    const FileLock alone(path_);
    if (!alone.held()) return;
    if (openDatabase() == ERROR_REGISTRY_CORRUPT) {
      const std::string kept = freeName();
      rename(path_.c_str(), kept.c_str());
      for (const char* suffix : {"-wal", "-shm"}) rename((path_ + suffix).c_str(), (kept + suffix).c_str());
    }
    close();
  }

  std::string freeName() const {
    for (int number = 0;; ++number) {
      const std::string name = path_ + ".damaged" + (number == 0 ? "" : std::to_string(number));
      if (access(name.c_str(), F_OK) != 0) return name;
    }
  }

  const bool machine_;
  std::mutex lock_;
  std::string path_;
  sqlite3* database_ = nullptr;
  sqlite3_stmt* statements_[kQueryCount] = {};
  struct stat file_ = {};
  int64_t seen_ = 0;
  bool damaged_ = false;
};

Hive& hiveAt(int index) {
  // Never destroyed: threads may still use them while the process ends.
  static Hive* const hives[] = {new Hive(false), new Hive(true)};
  return *hives[index];
}

// A prepared statement in use: bound, stepped, and given back clean.
class Use {
 public:
  Use(Hive& hive, Query query) : hive_(hive), statement_(hive.statement(query)) {}
  ~Use() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
  }
  Use(const Use&) = delete;
  Use& operator=(const Use&) = delete;

  Use& bind(int64_t value) {
    sqlite3_bind_int64(statement_, ++bound_, value);
    return *this;
  }
  Use& bind(NameView name) {
    sqlite3_bind_text16(statement_, ++bound_, name.empty() ? u"" : name.data(),
                        static_cast<int>(name.size() * 2), SQLITE_STATIC);
    return *this;
  }
  Use& bind(const BYTE* data, DWORD size) {
    if (size == 0) {
      sqlite3_bind_zeroblob(statement_, ++bound_, 0);
    } else {
      sqlite3_bind_blob64(statement_, ++bound_, data, size, SQLITE_STATIC);
    }
    return *this;
  }
  int run() { return hive_.step(statement_); }
  int64_t number(int column) const { return sqlite3_column_int64(statement_, column); }
  bool isNull(int column) const { return sqlite3_column_type(statement_, column) == SQLITE_NULL; }
  NameView name(int column) const {
    const void* text = sqlite3_column_text16(statement_, column);
    return {static_cast<const char16_t*>(text),
            static_cast<size_t>(sqlite3_column_bytes16(statement_, column)) / 2};
  }
  const void* blob(int column) const { return sqlite3_column_blob(statement_, column); }
  DWORD blobSize(int column) const { return static_cast<DWORD>(sqlite3_column_bytes(statement_, column)); }

 private:
  Hive& hive_;
  sqlite3_stmt* statement_;
  int bound_ = 0;
};

// An operation on a key: the hive's lock held, its database open.
class Operation {
 public:
  Operation(HKEY key, REGSAM needed) {
    if (key == HKEY_CURRENT_USER || key == HKEY_LOCAL_MACHINE) {
      key_ = {key == HKEY_LOCAL_MACHINE, kRootKey, KEY_ALL_ACCESS};
    } else if (key != nullptr) {
      key_ = *key;
    } else {
      status_ = ERROR_INVALID_HANDLE;
      return;
    }
    if ((key_.access & needed) != needed) {
      status_ = ERROR_ACCESS_DENIED;
      return;
    }
    guard_ = std::unique_lock(hive().lock());
    status_ = hive().open(needed == KEY_QUERY_VALUE || needed == KEY_ENUMERATE_SUB_KEYS);
  }
  ~Operation() {
    if (guard_.owns_lock()) hive().settle();
  }
  Operation(const Operation&) = delete;
  Operation& operator=(const Operation&) = delete;

  LSTATUS status() const { return status_; }
  const HKEY__& key() const { return key_; }
  Hive& hive() { return hiveAt(key_.hive); }
  Use use(Query query) { return Use(hive(), query); }

 private:
  HKEY__ key_ = {};
  LSTATUS status_ = ERROR_SUCCESS;
  std::unique_lock<std::mutex> guard_;
};

NameView viewOf(LPCWSTR text) {
  return text == nullptr ? NameView() : NameView(text);
}

// Takes the first part off a path; false when the part is empty or too long for a key's name.
bool takePart(NameView& path, NameView& part) {
  const size_t end = path.find(u'\\');
  part = path.substr(0, end);
  path = end == NameView::npos ? NameView() : path.substr(end + 1);
  return !part.empty() && part.size() <= kLongestKeyName;
}

// Walks a path down; makes what is missing when `created` is given.
LSTATUS walk(Operation& operation, NameView path, int64_t& id, bool* created) {
  id = operation.key().id;
  NameView part;
  while (!path.empty()) {
    if (!takePart(path, part)) return ERROR_BAD_PATHNAME;
    Use find = operation.use(kFindKey);
    const int found = find.bind(id).bind(part).run();
    if (found == SQLITE_ROW) {
      id = find.number(0);
      continue;
    }
    if (found != SQLITE_DONE) return errorOf(found);
    if (created == nullptr) return ERROR_FILE_NOT_FOUND;
    const int added = operation.use(kAddKey).bind(id).bind(part).run();
    if (added == SQLITE_CONSTRAINT) return ERROR_KEY_DELETED;
    if (added != SQLITE_DONE) return errorOf(added);
    id = operation.hive().lastRow();
    *created = true;
  }
  return ERROR_SUCCESS;
}

// A write of several steps: all or nothing, and nobody else's write in between.
class Transaction {
 public:
  explicit Transaction(Operation& operation) : operation_(operation), result_(operation.use(kBegin).run()) {}
  ~Transaction() {
    if (result_ == SQLITE_DONE && !done_) operation_.use(kRollback).run();
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  LSTATUS status() const { return errorOf(result_); }
  LSTATUS commit() {
    const int result = operation_.use(kCommit).run();
    done_ = result == SQLITE_DONE;
    return errorOf(result);
  }

 private:
  Operation& operation_;
  int result_;
  bool done_ = false;
};

// Why there is no such value or sub-key: perhaps the key itself was deleted.
LSTATUS missing(Operation& operation, LSTATUS otherwise) {
  const int result = operation.use(kKeyExists).bind(operation.key().id).run();
  return result == SQLITE_ROW ? otherwise : result == SQLITE_DONE ? ERROR_KEY_DELETED : errorOf(result);
}

LSTATUS publish(const Operation& operation, int64_t id, REGSAM access, HKEY* opened) {
  *opened = new (std::nothrow) HKEY__{operation.key().hive, id, access};
  return *opened == nullptr ? ERROR_OUTOFMEMORY : ERROR_SUCCESS;
}

LSTATUS keyOf(Operation& operation, LPCWSTR path, int64_t& id) {
  if (operation.status() != ERROR_SUCCESS) return operation.status();
  return walk(operation, viewOf(path), id, nullptr);
}

LSTATUS copyName(NameView name, LPWSTR text, DWORD* capacity) {
  if (name.size() >= *capacity) return ERROR_MORE_DATA;
  std::copy(name.begin(), name.end(), text);
  text[name.size()] = 0;
  *capacity = static_cast<DWORD>(name.size());
  return ERROR_SUCCESS;
}

LSTATUS copyData(const Use& row, int typeColumn, DWORD* type, BYTE* data, DWORD* size) {
  const DWORD bytes = row.blobSize(typeColumn + 1);
  if (type != nullptr) *type = static_cast<DWORD>(row.number(typeColumn));
  if (size == nullptr) return data == nullptr ? ERROR_SUCCESS : ERROR_INVALID_PARAMETER;
  const bool fits = data == nullptr || *size >= bytes;
  *size = bytes;
  if (data != nullptr && fits && bytes != 0) memcpy(data, row.blob(typeColumn + 1), bytes);
  return fits ? ERROR_SUCCESS : ERROR_MORE_DATA;
}

}  // namespace

LSTATUS RegCreateKeyExW(HKEY key, LPCWSTR path, DWORD, LPWSTR, DWORD, REGSAM access, void*, HKEY* opened,
                        DWORD* disposition) {
  if (path == nullptr || opened == nullptr) return ERROR_INVALID_PARAMETER;
  *opened = nullptr;
  Operation operation(key, 0);
  if (operation.status() != ERROR_SUCCESS) return operation.status();
  int64_t id = 0;
  bool created = false;
  // Most keys exist already: a look needs no write lock.
  LSTATUS status = walk(operation, viewOf(path), id, nullptr);
  if (status == ERROR_FILE_NOT_FOUND) {
    Transaction transaction(operation);
    status = transaction.status();
    if (status == ERROR_SUCCESS) status = walk(operation, viewOf(path), id, &created);
    if (status == ERROR_SUCCESS) status = transaction.commit();
  }
  if (status != ERROR_SUCCESS) return status;
  if (disposition != nullptr) *disposition = created ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
  return publish(operation, id, access, opened);
}

LSTATUS RegCreateKeyW(HKEY key, LPCWSTR path, HKEY* opened) {
  return RegCreateKeyExW(key, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, opened, nullptr);
}

LSTATUS RegOpenKeyExW(HKEY key, LPCWSTR path, DWORD, REGSAM access, HKEY* opened) {
  if (opened == nullptr) return ERROR_INVALID_PARAMETER;
  *opened = nullptr;
  Operation operation(key, 0);
  int64_t id = 0;
  const LSTATUS status = keyOf(operation, path, id);
  return status == ERROR_SUCCESS ? publish(operation, id, access, opened) : status;
}

LSTATUS RegCloseKey(HKEY key) {
  if (key == nullptr) return ERROR_INVALID_HANDLE;
  if (key != HKEY_CURRENT_USER && key != HKEY_LOCAL_MACHINE) delete key;
  return ERROR_SUCCESS;
}

LSTATUS RegQueryValueExW(HKEY key, LPCWSTR name, DWORD*, DWORD* type, BYTE* data, DWORD* size) {
  Operation operation(key, KEY_QUERY_VALUE);
  if (operation.status() != ERROR_SUCCESS) return operation.status();
  Use row = operation.use(kReadValue);
  const int result = row.bind(operation.key().id).bind(viewOf(name)).run();
  if (result == SQLITE_DONE) return ERROR_KEY_DELETED;
  if (result != SQLITE_ROW) return errorOf(result);
  return row.isNull(0) ? static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND) : copyData(row, 0, type, data, size);
}

LSTATUS RegSetValueExW(HKEY key, LPCWSTR name, DWORD, DWORD type, const BYTE* data, DWORD size) {
  if (viewOf(name).size() > kLongestValueName || (data == nullptr && size != 0))
    return ERROR_INVALID_PARAMETER;
  Operation operation(key, KEY_SET_VALUE);
  if (operation.status() != ERROR_SUCCESS) return operation.status();
  Use row = operation.use(kWriteValue);
  const int result =
      row.bind(operation.key().id).bind(viewOf(name)).bind(int64_t{type}).bind(data, size).run();
  return result == SQLITE_CONSTRAINT ? ERROR_KEY_DELETED : errorOf(result);
}

LSTATUS RegDeleteValueW(HKEY key, LPCWSTR name) {
  Operation operation(key, KEY_SET_VALUE);
  if (operation.status() != ERROR_SUCCESS) return operation.status();
  const int result = operation.use(kDeleteValue).bind(operation.key().id).bind(viewOf(name)).run();
  if (result != SQLITE_DONE) return errorOf(result);
  return operation.hive().changes() == 0 ? missing(operation, ERROR_FILE_NOT_FOUND) : ERROR_SUCCESS;
}

LSTATUS RegDeleteKeyW(HKEY key, LPCWSTR path) {
  if (path == nullptr || *path == 0) return ERROR_INVALID_PARAMETER;
  Operation operation(key, 0);
  int64_t id = 0;
  if (operation.status() != ERROR_SUCCESS) return operation.status();
  Transaction transaction(operation);
  LSTATUS status = transaction.status();
  if (status == ERROR_SUCCESS) status = keyOf(operation, path, id);
  if (status != ERROR_SUCCESS) return status;
  if (operation.use(kListKey).bind(id).bind(int64_t{0}).run() == SQLITE_ROW) return ERROR_ACCESS_DENIED;
  const int result = operation.use(kDeleteKey).bind(id).run();
  return result == SQLITE_DONE ? transaction.commit() : errorOf(result);
}

LSTATUS RegDeleteTreeW(HKEY key, LPCWSTR path) {
  Operation operation(key, 0);
  int64_t id = 0;
  if (operation.status() != ERROR_SUCCESS) return operation.status();
  Transaction transaction(operation);
  LSTATUS status = transaction.status();
  if (status == ERROR_SUCCESS) status = keyOf(operation, path, id);
  if (status != ERROR_SUCCESS) return status;
  if (path != nullptr && *path != 0) {
    status = errorOf(operation.use(kDeleteKey).bind(id).run());
  } else {
    status = errorOf(operation.use(kEmptyValues).bind(id).run());
    if (status == ERROR_SUCCESS) status = errorOf(operation.use(kEmptyKeys).bind(id).run());
  }
  return status == ERROR_SUCCESS ? transaction.commit() : status;
}

LSTATUS RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, DWORD* nameCapacity, DWORD*, LPWSTR, DWORD*,
                      FILETIME*) {
  Operation operation(key, KEY_ENUMERATE_SUB_KEYS);
  if (operation.status() != ERROR_SUCCESS) return operation.status();
  Use row = operation.use(kListKey);
  const int result = row.bind(operation.key().id).bind(int64_t{index}).run();
  if (result == SQLITE_DONE) return missing(operation, ERROR_NO_MORE_ITEMS);
  return result == SQLITE_ROW ? copyName(row.name(0), name, nameCapacity) : errorOf(result);
}

LSTATUS RegEnumValueW(HKEY key, DWORD index, LPWSTR name, DWORD* nameCapacity, DWORD*, DWORD* type,
                      BYTE* data, DWORD* size) {
  Operation operation(key, KEY_QUERY_VALUE);
  if (operation.status() != ERROR_SUCCESS) return operation.status();
  Use row = operation.use(kListValue);
  const int result = row.bind(operation.key().id).bind(int64_t{index}).run();
  if (result == SQLITE_DONE) return missing(operation, ERROR_NO_MORE_ITEMS);
  if (result != SQLITE_ROW) return errorOf(result);
  const LSTATUS status = copyName(row.name(0), name, nameCapacity);
  return status == ERROR_SUCCESS ? copyData(row, 1, type, data, size) : status;
}

LSTATUS RegFlushKey(HKEY key) {
  Operation operation(key, 0);
  return operation.status() != ERROR_SUCCESS ? operation.status() : operation.hive().flush();
}
