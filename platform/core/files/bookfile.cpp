// A resource file as a SQLite database.
//
// The database belongs to one program at a time. SQLite's own locks can't see
// to that: they last only as long as a transaction, and by the rules of POSIX
// they are lost when anybody in this process closes the file, as a look at its
// type does. So a flock of ours lies on the file as long as it is open.
//
// The first transaction makes the table too. Until then the file has no bytes,
// and a crash leaves an empty file or a whole book.
#include "platform/core/files/bookfile.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/core/files/filesparts.h"
#include "platform/core/macroman.h"

static constexpr int kFormat = 1; // user_version; a later one is refused
static constexpr int kLargestRecord = 4 << 20;
static constexpr int kMostRecords = 20000;
static constexpr off_t kLargestBook = off_t(256) << 20;
static constexpr int kPatience = 500; // ms, for another program's look inside

struct BookFile {
    sqlite3 *db;
    int lock; // descriptor that holds the flock
    std::string path;
    bool writing;
    bool hasTable; // false until the first commit of a new book
    bool inTransaction;
};

// ---- errors ----------------------------------------------------------------

static OSErr book_error(int code)
{
    switch (code & 0xFF) {
    case SQLITE_OK:
    case SQLITE_DONE:
    case SQLITE_ROW:
        return noErr;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return fBsyErr;
    case SQLITE_PERM:
    case SQLITE_READONLY:
    case SQLITE_AUTH:
        return wrPermErr;
    case SQLITE_CANTOPEN: // the journal can't be made beside it
        return permErr;
    case SQLITE_FULL:
        return dskFulErr;
    case SQLITE_NOMEM:
        return memFullErr;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_SCHEMA:
    case SQLITE_TOOBIG:
    case SQLITE_MISMATCH:
    case SQLITE_ERROR:
        return mapReadErr;
    default:
        return ioErr;
    }
}

// ---- judging a file before SQLite sees it ----------------------------------

static constexpr int kHeadLen = 100;

// SQLite's file header: magic, both version numbers (1: rollback journal, 2: a
// journal of another kind, which we never write), our application id at 68.
static bool head_is_book(const uint8_t *head)
{
    static constexpr uint8_t id[4] = {'q', 'P', 'H', 'O'};
    return std::memcmp(head, "SQLite format 3", 16) == 0 && head[18] == 1 &&
           head[19] == 1 && std::memcmp(head + 68, id, 4) == 0;
}

// Is the file as long as its pages? SQLite takes a last page that was cut short
// for a whole one with zeros at its end. The page size stands at 16; 1 is 64K.
static bool length_fits(const uint8_t *head, off_t length)
{
    off_t page = head[16] << 8 | head[17];
    if (page == 1)
        page = 65536;
    return page >= 512 && length % page == 0;
}

// A journal that SQLite will play back: a crash came in the middle of a save,
// and the file may be in any state until then.
static bool has_journal(const std::string &path)
{
    static constexpr uint8_t magic[8] = {0xD9, 0xD5, 0x05, 0xF9,
                                         0x20, 0xA1, 0x63, 0xD7};
    uint8_t head[8] = {};
    int fd = open((path + "-journal").c_str(),
                  O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (fd < 0)
        return false;
    bool yes = read(fd, head, sizeof head) == ssize_t(sizeof head) &&
               std::memcmp(head, magic, sizeof magic) == 0;
    (void)close(fd);
    return yes;
}

// Opens the file for our lock and judges it. -1 with *err.
static int open_locked(const std::string &path, bool writing, OSErr *err)
{
    // A limit on the size of files is an error of the write like a full disk,
    // not the program's end.
    if (writing)
        signal(SIGXFSZ, SIG_IGN);
    int fd = open(path.c_str(), (writing ? O_RDWR : O_RDONLY) | O_CLOEXEC |
                                    O_NONBLOCK | (writing ? O_NOFOLLOW : 0));
    if (fd < 0) {
        *err = errno == ENOENT ? missing_error(path) : os_error(errno);
        return -1;
    }
    struct stat st;
    uint8_t head[kHeadLen] = {};
    *err = noErr;
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) ||
        st.st_size > kLargestBook)
        *err = mapReadErr;
    else if (flock(fd, (writing ? LOCK_EX : LOCK_SH) | LOCK_NB) != 0 &&
             errno == EWOULDBLOCK)
        *err = fBsyErr;
    else if (st.st_size > 0 && !has_journal(path) &&
             (pread(fd, head, sizeof head, 0) != kHeadLen ||
              !head_is_book(head)))
        *err = mapReadErr;
    if (*err == noErr)
        return fd;
    (void)close(fd);
    return -1;
}

// ---- SQLite ----------------------------------------------------------------

static int run(sqlite3 *db, const char *sql)
{
    return sqlite3_exec(db, sql, nullptr, nullptr, nullptr);
}

// The one value that a question has, as a text; empty if it fails.
static std::string ask(sqlite3 *db, const char *sql)
{
    sqlite3_stmt *s = nullptr;
    std::string answer;
    if (sqlite3_prepare_v2(db, sql, -1, &s, nullptr) == SQLITE_OK &&
        sqlite3_step(s) == SQLITE_ROW) {
        if (const unsigned char *text = sqlite3_column_text(s, 0))
            answer = reinterpret_cast<const char *>(text);
    }
    (void)sqlite3_finalize(s); // repeats the step's failure
    return answer;
}

// A file may come from anywhere: no code in it runs, and nothing in it makes
// us take more memory than a book needs. Nor does it make us wait for long.
static void restrain(sqlite3 *db)
{
    sqlite3_db_config(db, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(db, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    sqlite3_db_config(db, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    sqlite3_db_config(db, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_busy_timeout(db, kPatience);
    sqlite3_limit(db, SQLITE_LIMIT_LENGTH, kLargestRecord);
    sqlite3_limit(db, SQLITE_LIMIT_SQL_LENGTH, 100000);
    sqlite3_limit(db, SQLITE_LIMIT_ATTACHED, 0);
    sqlite3_limit(db, SQLITE_LIMIT_WORKER_THREADS, 0);
}

static constexpr char kPragmas[] = "PRAGMA cell_size_check = 1;"
                                   "PRAGMA mmap_size = 0;"
                                   "PRAGMA temp_store = 2;"
                                   "PRAGMA journal_mode = DELETE;"
                                   "PRAGMA synchronous = FULL;"
                                   "PRAGMA secure_delete = 1;";

// Types and names are UTF-8, so that the book can be read by any tool; the
// data are the program's own bytes.
static constexpr char kSchema[] =
    "PRAGMA application_id = 1901086799;" // 'qPHO'
    "PRAGMA user_version = 1;"
    "CREATE TABLE resource ("
    "type TEXT NOT NULL, id INTEGER NOT NULL, name TEXT NOT NULL,"
    " attributes INTEGER NOT NULL, data BLOB NOT NULL,"
    " PRIMARY KEY (type, id))";

static std::string type_text(OSType type)
{
    char c[4] = {char(type >> 24), char(type >> 16), char(type >> 8),
                 char(type)};
    return macroman_to_utf8(std::string_view(c, 4));
}

static std::string column_text(sqlite3_stmt *s, int column)
{
    const unsigned char *text = sqlite3_column_text(s, column);
    return utf8_to_macroman(
        std::string_view(reinterpret_cast<const char *>(text),
                         text ? size_t(sqlite3_column_bytes(s, column)) : 0));
}

// One row, or an error for one that no resource can have.
static OSErr read_row(sqlite3_stmt *s, BookRecord &r)
{
    std::string type = column_text(s, 0);
    int64_t id = sqlite3_column_int64(s, 1);
    r.name = column_text(s, 2);
    r.attributes = uint8_t(sqlite3_column_int(s, 3));
    const void *data = sqlite3_column_blob(s, 4);
    int size = sqlite3_column_bytes(s, 4);
    if (type.size() != 4 || id < -32768 || id > 32767 || r.name.size() > 255)
        return mapReadErr;
    r.type = 0;
    for (char c : type)
        r.type = r.type << 8 | uint8_t(c);
    r.id = int16_t(id);
    r.data.assign(static_cast<const char *>(size > 0 ? data : ""),
                  size_t(size));
    return noErr;
}

static OSErr read_rows(sqlite3 *db, std::vector<BookRecord> &rows)
{
    static constexpr char kRead[] = "SELECT type, id, name, attributes, data "
                                    "FROM resource NOT INDEXED";
    sqlite3_stmt *s = nullptr;
    int code = sqlite3_prepare_v2(db, kRead, -1, &s, nullptr);
    OSErr err = book_error(code);
    while (err == noErr && (code = sqlite3_step(s)) == SQLITE_ROW) {
        BookRecord r;
        err = rows.size() < kMostRecords ? read_row(s, r) : OSErr(mapReadErr);
        if (err == noErr)
            rows.push_back(std::move(r));
    }
    if (err == noErr)
        err = book_error(code);
    (void)sqlite3_finalize(s); // repeats the step's failure
    return err;
}

// Is the table a plain one? The text of its making could name anything that
// reads like a table.
static bool table_is_plain(sqlite3 *db)
{
    return ask(db, "SELECT count(*) FROM sqlite_schema WHERE name = "
                   "'resource' AND type = 'table' AND sql LIKE 'CREATE "
                   "TABLE %' AND rootpage > 0") == "1";
}

static OSErr read_book(BookFile *b, std::vector<BookRecord> &rows)
{
    int code = run(b->db, kPragmas);
    // Takes the lock that a writer would need, and plays a journal back.
    if (code == SQLITE_OK && b->writing)
        code = run(b->db, "BEGIN IMMEDIATE");
    else if (code == SQLITE_OK)
        code = run(b->db, "BEGIN");
    if (code == SQLITE_OK)
        code = run(b->db, "SELECT count(*) FROM sqlite_schema");
    if (code != SQLITE_OK)
        return book_error(code);

    struct stat st;
    uint8_t head[kHeadLen] = {};
    if (fstat(b->lock, &st) != 0)
        return os_error(errno);
    b->hasTable = st.st_size > 0;
    if (!b->hasTable)
        return noErr;
    // Again, since a journal may have changed it.
    if (pread(b->lock, head, sizeof head, 0) != kHeadLen ||
        !head_is_book(head) || !length_fits(head, st.st_size))
        return mapReadErr;
    int format = atoi(ask(b->db, "PRAGMA user_version").c_str());
    if (format > kFormat)
        return laterErr;
    // Not the quick check: it passes an index that lacks rows, and a save that
    // goes by such an index doubles them.
    if (format != kFormat || ask(b->db, "PRAGMA integrity_check(1)") != "ok" ||
        !table_is_plain(b->db))
        return mapReadErr;
    return read_rows(b->db, rows);
}

BookFile *book_open(const std::string &path, bool writing, bool isNew,
                    OSErr *err, const std::function<void(BookRecord &&)> &take)
{
    int lock = open_locked(path, writing, err);
    if (lock < 0)
        return nullptr;
    BookFile *b = new BookFile{nullptr, lock, path, writing, false, false};
    int flags = writing ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY;
    int code = sqlite3_open_v2(path.c_str(), &b->db, flags, nullptr);
    std::vector<BookRecord> rows;
    *err = book_error(code);
    if (*err == noErr) {
        restrain(b->db);
        *err = read_book(b, rows);
        // Only looked at so far. Without a transaction there is nothing to
        // end, which is no failure.
        (void)run(b->db, "ROLLBACK");
    }
    if (*err == noErr && !b->hasTable && !isNew)
        *err = eofErr;
    if (*err != noErr) {
        book_close(b);
        return nullptr;
    }
    for (BookRecord &r : rows)
        take(std::move(r));
    return b;
}

bool book_in_place(const BookFile *b)
{
    struct stat held, found;
    return fstat(b->lock, &held) == 0 && stat(b->path.c_str(), &found) == 0 &&
           held.st_dev == found.st_dev && held.st_ino == found.st_ino;
}

// "phonebook.qpho", "phonebook 2.qpho" and so on.
static std::string numbered(const std::string &path, int number)
{
    if (number == 1)
        return path;
    size_t dot = path.rfind('.');
    if (dot == std::string::npos || dot < path.rfind('/'))
        dot = path.size();
    return path.substr(0, dot) + " " + std::to_string(number) +
           path.substr(dot);
}

BookFile *book_anew(const BookFile *lost, OSErr *err)
{
    constexpr int kMostNames = 99;
    for (int n = 1; n <= kMostNames; n++) {
        std::string path = numbered(lost->path, n);
        int fd = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC,
                      kBookMode);
        if (fd < 0 && errno == EEXIST)
            continue;
        if (fd < 0) {
            *err = errno == ENOENT ? OSErr(dirNFErr) : os_error(errno);
            return nullptr;
        }
        (void)close(fd);
        return book_open(path, true, true, err, [](BookRecord &&) {});
    }
    *err = dupFNErr;
    return nullptr;
}

std::string book_path_of(const BookFile *b)
{
    return b->path;
}

void book_close(BookFile *b)
{
    if (b->inTransaction)
        (void)run(b->db, "ROLLBACK"); // closing would do the same
    (void)sqlite3_close(b->db);       // no statement is left open
    (void)close(b->lock);             // holds the lock, no bytes
    delete b;
}

// ---- changing --------------------------------------------------------------

static OSErr drop(BookFile *b, int code)
{
    // SQLite has done it already after some failures.
    (void)run(b->db, "ROLLBACK");
    b->inTransaction = false;
    return book_error(code);
}

static OSErr begin(BookFile *b)
{
    if (b->inTransaction)
        return noErr;
    if (!b->writing)
        return wrPermErr;
    int code = run(b->db, "BEGIN IMMEDIATE");
    if (code == SQLITE_OK && !b->hasTable)
        code = run(b->db, kSchema);
    if (code != SQLITE_OK)
        return drop(b, code);
    b->inTransaction = true;
    return noErr;
}

static OSErr finish(BookFile *b, sqlite3_stmt *s, int code)
{
    if (code == SQLITE_OK)
        code = sqlite3_step(s);
    (void)sqlite3_finalize(s); // repeats the step's failure
    return code == SQLITE_DONE ? OSErr(noErr) : drop(b, code);
}

// A row is changed where it stands, and columns go by their names: another
// program may have made the table with its columns in another order, or with
// one of its own, whose content stays.
static OSErr put_by(BookFile *b, const BookRecord &r, const char *sql)
{
    std::string type = type_text(r.type), name = macroman_to_utf8(r.name);
    sqlite3_stmt *s = nullptr;
    int code = sqlite3_prepare_v2(b->db, sql, -1, &s, nullptr);
    if (code == SQLITE_OK) {
        sqlite3_bind_text(s, 1, type.data(), int(type.size()), SQLITE_STATIC);
        sqlite3_bind_int(s, 2, r.id);
        sqlite3_bind_text(s, 3, name.data(), int(name.size()), SQLITE_STATIC);
        sqlite3_bind_int(s, 4, r.attributes);
        sqlite3_bind_blob(s, 5, r.data.data(), int(r.data.size()),
                          SQLITE_STATIC);
    }
    return finish(b, s, code);
}

OSErr book_put(BookFile *b, const BookRecord &r)
{
    OSErr err = begin(b);
    if (err != noErr)
        return err;
    if (r.data.size() > size_t(kLargestRecord) - 4096)
        return memFullErr;
    err = put_by(b, r,
                 "UPDATE resource SET name = ?3, attributes = ?4, data = ?5 "
                 "WHERE type = ?1 AND id = ?2");
    if (err == noErr && sqlite3_changes(b->db) == 0)
        err = put_by(b, r,
                     "INSERT INTO resource (type, id, name, attributes, data) "
                     "VALUES (?1, ?2, ?3, ?4, ?5)");
    return err;
}

OSErr book_remove(BookFile *b, OSType type, int16_t id)
{
    OSErr err = begin(b);
    if (err != noErr)
        return err;
    std::string text = type_text(type);
    sqlite3_stmt *s = nullptr;
    int code = sqlite3_prepare_v2(
        b->db, "DELETE FROM resource WHERE type = ? AND id = ?", -1, &s,
        nullptr);
    if (code == SQLITE_OK) {
        sqlite3_bind_text(s, 1, text.data(), int(text.size()), SQLITE_STATIC);
        sqlite3_bind_int(s, 2, id);
    }
    return finish(b, s, code);
}

bool book_in_transaction(const BookFile *b)
{
    return b->inTransaction;
}

OSErr book_commit(BookFile *b)
{
    if (!b->inTransaction)
        return noErr;
    int code = run(b->db, "COMMIT");
    if (code != SQLITE_OK)
        return drop(b, code);
    b->inTransaction = false;
    b->hasTable = true;
    return noErr;
}

OSErr book_sync(BookFile *b)
{
    if (fsync(b->lock) != 0)
        return os_error(errno);
    // The removal of the journal is what ends a transaction; it lies in the
    // folder.
    int fd =
        open(parent_of(b->path).c_str(), O_RDONLY | O_CLOEXEC | O_DIRECTORY);
    if (fd >= 0) {
        (void)fsync(fd); // some file systems refuse this for a folder
        (void)close(fd);
    }
    return noErr;
}
