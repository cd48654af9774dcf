// The library itself, on each engine.

#include <orvel/QD_OrvelInterface.h>

#include <fstream>

#include "rival.h"

namespace {

using namespace bench;

/// Aligned, so that none lies at the end of a page: to compare one there takes the C library 15 instructions more, and where
/// literals lie is the linker's luck.
struct alignas(256) Names {
    char id[8] = "id", serial[8] = "serial", price[8] = "price", name[8] = "name", data[8] = "data";
};
constexpr Names names;

class Orvel : public Rival {
public:
    void insert(int times, Sum& sum) override {
        const QD_OrvelTransaction transaction(connection, QD_ORVEL_TRANSACTION_DEFERRED, true, "insert");
        const auto command = connection->createCommand(insertFive, 0);
        for (int id = 1; id <= times; ++id) {
            command->addIntParam(id);
            command->addInt64Param(serialOf(id));
            command->addDoubleParam(priceOf(id));
            command->addStringParam(partName);
            command->addBlobParam(partData, sizeof partData);
            sum.add(static_cast<long long>(command->execNoQuery(0)));
            command->resetParams();
        }
    }

    void scan(int times, Sum& sum) override { scanFields(times, sum, 0, 1, 2, 3, 4); }
    void scanByName(int times, Sum& sum) override {
        scanFields(times, sum, names.id, names.serial, names.price, names.name, names.data);
    }

    void lookup(int times, Sum& sum) override {
        const QD_OrvelTransaction transaction(connection, QD_ORVEL_TRANSACTION_DEFERRED, true, "lookup");
        const auto command = connection->createCommand(selectOne, 0);
        std::string name;
        for (int n = 0; n < times; ++n) {
            command->addIntParam(wanted(n));
            const auto row = command->execQuery(0);
            long long serial = 0;
            double price = 0;
            row->getInt64Field(0, serial);
            row->getDoubleField(1, price);
            row->getStringField(2, name);
            sum.add(serial);
            sum.add(price);
            sum.add(name);
            command->resetParams();
        }
    }

    void oneShot(int times, Sum& sum) override {
        const QD_OrvelTransaction transaction(connection, QD_ORVEL_TRANSACTION_DEFERRED, times > 1,
                                              "one-shot");
        for (; times > 0; --times) {
            sum.add(static_cast<long long>(connection->execQueryScalar(countOne, 0)));
        }
    }

protected:
    QD_OrvelConnectionHandle connection;

private:
    template <class Field>
    void scanFields(int times, Sum& sum, Field first, Field second, Field third, Field fourth, Field fifth) {
        std::string name;
        unsigned char data[sizeof partData];
        for (; times > 0; --times) {
            const auto row = connection->execQuery(selectAll, 0);
            for (; !row->eof(); row->nextRow()) {
                int id = 0;
                long long serial = 0;
                double price = 0;
                unsigned int size = sizeof data;
                row->getIntField(first, id);
                row->getInt64Field(second, serial);
                row->getDoubleField(third, price);
                row->getStringField(fourth, name);
                row->getBlobField(fifth, size, data);
                sum.add(static_cast<long long>(id));
                sum.add(serial);
                sum.add(price);
                sum.add(name);
                sum.add(data, size);
            }
        }
    }
};

struct OnSqlite : Orvel {
    explicit OnSqlite(const Place& place) {
        connection = QD_OrvelConnection::create(QD_ORVEL_PROVIDER_SQLITE, place.configuration().c_str());
        connection->open("Bench", place.directory.c_str(), 0);
    }
};

/// Connected as a variable of the environment says.
template <int Way>
struct OnServer : Orvel {
    explicit OnServer(const Place& place) {
        constexpr const char* variables[] = {"ORVEL_BENCH_CONNECTION", "ORVEL_BENCH_ODBC_CONNECTION",
                                             "ORVEL_BENCH_PLAIN_CONNECTION"};
        const std::string file = (place.directory / "Server.xml").string();
        std::ofstream(file) << "<Orvel><MajorVersion>0</MajorVersion><MinorVersion>2</MinorVersion>"
                               "<CommonSection><DefaultProvider>ADO</DefaultProvider></CommonSection>"
                               "<ProviderSection><ADO><Defaults><Database>Bench</Database></Defaults>"
                               "<Bench><Properties><ConnectionString>"
                            << setting(variables[Way])
                            << "</ConnectionString></Properties></Bench></ADO></ProviderSection>"
                               "<DatabaseSection><Bench><Properties><MasterDBName>none</MasterDBName>"
                               "</Properties></Bench></DatabaseSection></Orvel>";
        connection = QD_OrvelConnection::create(QD_ORVEL_PROVIDER_ADO, file.c_str(), "server", "Bench", "1");
        connection->open("database", nullptr, 0);
    }
};

const Registered entries(Entry{"sqlite", "orvel", opened<OnSqlite>},
                         Entry{"postgresql", "orvel", opened<OnServer<0>>},
                         Entry{"postgresql", "orvel-odbc", opened<OnServer<1>>},
                         Entry{"postgresql", "orvel-no-savepoints", opened<OnServer<2>>},
                         Entry{"mariadb", "orvel", opened<OnServer<0>>},
                         Entry{"mariadb", "orvel-odbc", opened<OnServer<1>>});

} // namespace
