#include <soci/soci.h>
#include <soci/sqlite3/soci-sqlite3.h>

#include "../rival.h"

namespace {

using namespace bench;

class Soci : public Rival {
public:
    explicit Soci(const Place& place) : session(soci::sqlite3, "db=" + place.database() + " timeout=5") {}

    void insert(int times, Sum& sum) override {
        soci::transaction transaction(session);
        int id = 0;
        long long serial = 0;
        double price = 0;
        std::string name;
        soci::blob data(session);
        data.write(0, reinterpret_cast<const char*>(partData), sizeof partData);
        soci::statement row =
            (session.prepare
                 << "INSERT INTO copies (id, serial, price, name, data) VALUES (:a, :b, :c, :d, :e)",
             soci::use(id), soci::use(serial), soci::use(price), soci::use(name), soci::use(data));
        for (id = 1; id <= times; ++id) {
            serial = serialOf(id);
            price = priceOf(id);
            name = partName;
            row.execute(true);
            sum.add(row.get_affected_rows());
        }
    }

    void scan(int times, Sum& sum) override {
        int id = 0;
        long long serial = 0;
        double price = 0;
        std::string name;
        soci::blob data(session);
        char bytes[sizeof partData];
        for (; times > 0; --times) {
            soci::statement row = (session.prepare << selectAll, soci::into(id), soci::into(serial),
                                   soci::into(price), soci::into(name), soci::into(data));
            row.execute();
            while (row.fetch()) {
                sum.add(static_cast<long long>(id));
                sum.add(serial);
                sum.add(price);
                sum.add(name);
                const std::size_t size = data.get_len();
                data.read(0, bytes, size);
                sum.add(bytes, size);
            }
        }
    }

    void lookup(int times, Sum& sum) override {
        soci::transaction transaction(session);
        int id = 0;
        long long serial = 0;
        double price = 0;
        std::string name;
        soci::statement row = (session.prepare << "SELECT serial, price, name FROM parts WHERE id = :id",
                               soci::use(id), soci::into(serial), soci::into(price), soci::into(name));
        for (int n = 0; n < times; ++n) {
            id = wanted(n);
            row.execute(true);
            sum.add(serial);
            sum.add(price);
            sum.add(name);
        }
    }

    void oneShot(int times, Sum& sum) override {
        std::unique_ptr<soci::transaction> transaction;
        if (times > 1) {
            transaction = std::make_unique<soci::transaction>(session);
        }
        for (; times > 0; --times) {
            int value = 0;
            session << countOne, soci::into(value);
            sum.add(static_cast<long long>(value));
        }
    }

private:
    soci::session session;
};

const Registered entry(Entry{"sqlite", "SOCI", opened<Soci>});

} // namespace
