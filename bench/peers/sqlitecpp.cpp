#include <SQLiteCpp/SQLiteCpp.h>

#include <cstring>

#include "../rival.h"

namespace {

using namespace bench;

class SqliteCpp : public Rival {
public:
    explicit SqliteCpp(const Place& place)
        : db(place.database(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE, 5000) {}

    void insert(int times, Sum& sum) override {
        const SQLite::Transaction transaction(db);
        SQLite::Statement row(db, insertFive);
        for (int id = 1; id <= times; ++id) {
            row.bind(1, id);
            row.bind(2, static_cast<int64_t>(serialOf(id)));
            row.bind(3, priceOf(id));
            row.bindNoCopy(4, partName);
            row.bindNoCopy(5, partData, sizeof partData);
            sum.add(static_cast<long long>(row.exec()));
            row.reset();
        }
    }

    void scan(int times, Sum& sum) override { scanColumns(times, sum, 0, 1, 2, 3, 4); }
    void scanByName(int times, Sum& sum) override {
        scanColumns(times, sum, "id", "serial", "price", "name", "data");
    }

    void lookup(int times, Sum& sum) override {
        const SQLite::Transaction transaction(db);
        SQLite::Statement row(db, selectOne);
        std::string name;
        for (int n = 0; n < times; ++n) {
            row.bind(1, wanted(n));
            row.executeStep();
            sum.add(static_cast<long long>(row.getColumn(0).getInt64()));
            sum.add(row.getColumn(1).getDouble());
            name = row.getColumn(2).getString();
            sum.add(name);
            row.reset();
        }
    }

    void oneShot(int times, Sum& sum) override {
        std::unique_ptr<SQLite::Transaction> transaction;
        if (times > 1) {
            transaction = std::make_unique<SQLite::Transaction>(db);
        }
        for (; times > 0; --times) {
            sum.add(static_cast<long long>(db.execAndGet(countOne).getInt()));
        }
    }

private:
    SQLite::Database db;

    template <class Column>
    void scanColumns(int times, Sum& sum, Column first, Column second, Column third, Column fourth,
                     Column fifth) {
        std::string name;
        unsigned char data[sizeof partData];
        for (; times > 0; --times) {
            SQLite::Statement row(db, selectAll);
            while (row.executeStep()) {
                sum.add(static_cast<long long>(row.getColumn(first).getInt()));
                sum.add(static_cast<long long>(row.getColumn(second).getInt64()));
                sum.add(row.getColumn(third).getDouble());
                name = row.getColumn(fourth).getString();
                sum.add(name);
                const SQLite::Column blob = row.getColumn(fifth);
                const void* const bytes = blob.getBlob();
                const auto size = static_cast<std::size_t>(blob.getBytes());
                std::memcpy(data, bytes, size);
                sum.add(data, size);
            }
        }
    }
};

const Registered entry(Entry{"sqlite", "SQLiteCpp", opened<SqliteCpp>});

} // namespace
