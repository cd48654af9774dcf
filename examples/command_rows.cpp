// Reads the rows of a prepared command. It needs OrvelConfig.xml in the current directory.

#include <orvel/QD_OrvelInterface.h>

#include <cstdio>
#include <string>

namespace {

void showNames(QD_OrvelConnectionHandle& connection, int firstId) {
    // docs/engines.md shows from here
    auto search = connection->createCommand("SELECT name, price FROM parts WHERE id >= ? ORDER BY id", 0);
    search->addIntParam(firstId);
    auto rows = search->execQuery(0);
    for (std::string name; rows->getStringField(0, name); rows->nextRow()) { // name is never NULL nor empty
        double price = 0.0;
        rows->getDoubleField(1, price);
        std::printf("%s %.2f\n", name.c_str(), price);
    }
    // docs/engines.md shows up to here
}

} // namespace

int main() try {
    auto connection = QD_OrvelConnection::create(QD_ORVEL_PROVIDER_CONFIG_DEFAULT);
    connection->open("Parts", "", 0);
    connection->execNoQuery("CREATE TABLE parts (id INTEGER PRIMARY KEY, name TEXT NOT NULL, price REAL);"
                            "INSERT INTO parts VALUES (1, 'hex nut', 0.05), (2, 'lock washer', 0.02),"
                            "(3, 'wing nut', 0.3)",
                            0);
    showNames(connection, 2);
} catch (QD_OrvelException& error) {
    std::fprintf(stderr, "%s\n", error.errorMessage());
    return 1;
}
