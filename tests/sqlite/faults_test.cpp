// What a fault in SQLite's memory, in the library's or in the file system leaves behind: a database that is whole, with the
// rows that were acknowledged and no others.

#include <sqlite3.h>

#include "tests/support/allocation_limit.h"
#include "tests/support/sqlite_test.h"

namespace {

using namespace orvel::tests;

enum Operation : int { noOperation, reads, writes, syncs, truncates };

/// Operations of one kind that still succeed; then one fails.
struct FileFaults {
    static inline Operation kind = noOperation;
    static inline long left = 0;

    FileFaults(Operation failing, long count) { kind = failing, left = count; }
    FileFaults(const FileFaults&) = delete;
    FileFaults& operator=(const FileFaults&) = delete;
    ~FileFaults() { kind = noOperation; }

    static bool fails(Operation operation) { return operation == kind && left-- == 0; }
    static bool hasFailed() { return left < 0; }
};

/// A file of SQLite's own system behind methods that fail when they are to.
struct File {
    sqlite3_file base;
    sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};
template <auto Method, Operation Kind, int Error, class... Arguments>
int delegated(sqlite3_file* file, Arguments... arguments) {
    sqlite3_file* const real = reinterpret_cast<File*>(file)->real();
    return FileFaults::fails(Kind) ? Error : (real->pMethods->*Method)(real, arguments...);
}
using M = sqlite3_io_methods;
constexpr M fileMethods = {
    .iVersion = 1,
    .xClose = &delegated<&M::xClose, noOperation, 0>,
    .xRead = &delegated<&M::xRead, reads, SQLITE_IOERR_READ, void*, int, sqlite3_int64>,
    .xWrite = &delegated<&M::xWrite, writes, SQLITE_FULL, const void*, int, sqlite3_int64>,
    .xTruncate = &delegated<&M::xTruncate, truncates, SQLITE_IOERR_TRUNCATE, sqlite3_int64>,
    .xSync = &delegated<&M::xSync, syncs, SQLITE_IOERR_FSYNC, int>,
    .xFileSize = &delegated<&M::xFileSize, noOperation, 0, sqlite3_int64*>,
    .xLock = &delegated<&M::xLock, noOperation, 0, int>,
    .xUnlock = &delegated<&M::xUnlock, noOperation, 0, int>,
    .xCheckReservedLock = &delegated<&M::xCheckReservedLock, noOperation, 0, int*>,
    .xFileControl = &delegated<&M::xFileControl, noOperation, 0, int, void*>,
    .xSectorSize = &delegated<&M::xSectorSize, noOperation, 0>,
    .xDeviceCharacteristics = &delegated<&M::xDeviceCharacteristics, noOperation, 0>,
    .xShmMap = nullptr, // this and what follows: of later versions
    .xShmLock = nullptr,
    .xShmBarrier = nullptr,
    .xShmUnmap = nullptr,
    .xFetch = nullptr,
    .xUnfetch = nullptr,
};

sqlite3_mem_methods realMemory;

int openFile(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags, int* outFlags) {
    auto* const system = static_cast<sqlite3_vfs*>(vfs->pAppData);
    file->pMethods = nullptr;
    const int result = system->xOpen(system, name, reinterpret_cast<File*>(file)->real(), flags, outFlags);
    file->pMethods = result == SQLITE_OK ? &fileMethods : nullptr;
    return result;
}

/// Before SQLite is used for the first time, which fixes where its memory comes from.
[[maybe_unused]] const bool installed = [] {
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &realMemory);
    static sqlite3_mem_methods memory = realMemory;
    memory.xMalloc = [](int size) { return mayAllocate() ? realMemory.xMalloc(size) : nullptr; };
    memory.xRealloc = [](void* old, int size) {
        return mayAllocate() ? realMemory.xRealloc(old, size) : nullptr;
    };
    sqlite3_config(SQLITE_CONFIG_MALLOC, &memory);
    static sqlite3_vfs faulty = *sqlite3_vfs_find(nullptr);
    faulty.pAppData = sqlite3_vfs_find(nullptr);
    faulty.zName = "faulty";
    faulty.szOsFile += static_cast<int>(sizeof(File));
    faulty.xOpen = &openFile;
    return sqlite3_vfs_register(&faulty, 1) == SQLITE_OK;
}();

/// The library had no memory for an object, or the work sees for itself that something has failed.
struct EmptyHandle {};

class SqliteFaults : public SqliteTest {
protected:
    int acknowledged = 0; ///< a bit for each row
    bool (*hasFailed)() = nullptr;
    const std::string text = std::string(3000, 'x');

    void insert(const QD_OrvelConnectionHandle& to, int id) const {
        const QD_OrvelCommandHandle made = to->createCommand("INSERT INTO t VALUES (?, ?)", 0);
        if (made.isNull()) throw EmptyHandle();
        with(made, id, text.c_str())->execNoQuery(0);
    }

    /// Opens, creates, writes in a nested transaction, aborts one, reads, and drops.
    void work() {
        QD_OrvelConnectionHandle own = closed();
        if (own.isNull()) throw EmptyHandle();
        own->open("Faults", path.c_str(), 0);
        // Where a commit is the truncation of the journal, SQLite reports a sync behind it that fails as a failed commit.
        own->execNoQuery(FileFaults::kind == truncates ? "PRAGMA journal_mode = TRUNCATE" : "", 0);
        own->execNoQuery("CREATE TABLE IF NOT EXISTS t (id INTEGER PRIMARY KEY, a)", 0);
        QD_OrvelTransaction outer(own, QD_ORVEL_TRANSACTION_IMMEDIATE, false, "");
        outer.begin();
        insert(own, 1);
        {
            QD_OrvelTransaction inner(own, 0, false, "");
            inner.begin();
            insert(own, 2);
            inner.commit();
        }
        outer.commit();
        acknowledged = 0b0110;
        {
            QD_OrvelTransaction aborted(own, 0, false, "");
            aborted.begin();
            insert(own, 3);
        }
        insert(own, 4); // a transaction of its own, whatever has become of the one before
        acknowledged |= 0b10000;
        const int there = own->execQueryScalar("SELECT COUNT(*) FROM t WHERE id <> 3", 0);
        if (hasFailed() || there != 3) throw EmptyHandle(); // to see what is there now
        own->dropDatabase("Faults", path.c_str());
        acknowledged = 0;
    }

    void expectWhole() const {
        const QD_OrvelConnectionHandle after = opened("Faults");
        std::string answer;
        EXPECT_TRUE(after->execQuery("PRAGMA integrity_check", 0)->getStringField(0, answer)) << answer;
        EXPECT_EQ(answer, "ok");
        after->execNoQuery("CREATE TABLE IF NOT EXISTS t (id INTEGER PRIMARY KEY, a)", 0);
        int there = 0;
        for (auto rows = after->execQuery("SELECT id FROM t", 0); !rows->eof(); rows->nextRow()) {
            int id = 0;
            rows->getIntField(0, id);
            there |= 1 << id;
        }
        EXPECT_EQ(there, acknowledged);
        after->dropDatabase("Faults", path.c_str());
    }

    /// Works with the fault later each time, until it is too late for the work; how many faults that took.
    template <class Fault>
    long sweep(const std::function<void(long)>& workWithFault) {
        hasFailed = &Fault::hasFailed;
        long count = 0;
        for (;; ++count) {
            acknowledged = 0;
            try {
                workWithFault(count);
            } catch (const QD_OrvelException&) {
                EXPECT_TRUE(hasFailed());
            } catch (const EmptyHandle&) {
                EXPECT_TRUE(hasFailed());
            }
            if (!hasFailed()) return count;
            expectWhole();
            EXPECT_FALSE(HasFailure()) << "with fault " << count;
            if (HasFailure()) return count;
        }
    }

    void SetUp() override {
        QD_OrvelSetDebugOutput([](const char*) noexcept {});
    }
    void TearDown() override { QD_OrvelSetDebugOutput(nullptr); }
};

TEST_F(SqliteFaults, ofMemoryLoseNothingThatWasAcknowledged) {
    for (const bool once : {true, false}) {
        EXPECT_GT(sweep<AllocationLimit>([&](long allowed) {
                      const AllocationLimit limit(allowed, once);
                      work();
                  }),
                  100)
            << once;
    }
}

TEST_F(SqliteFaults, ofTheFileSystemLoseNothingThatWasAcknowledged) {
    for (const Operation kind : {reads, writes, syncs, truncates}) {
        EXPECT_GT(sweep<FileFaults>([&](long allowed) {
                      const FileFaults faults(kind, allowed);
                      work();
                  }),
                  1)
            << kind;
    }
}

} // namespace
