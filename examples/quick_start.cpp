// The program that README.md shows. It needs OrvelConfig.xml in the current directory.

#include <orvel/QD_OrvelInterface.h>

#include <cstdio>

int main() try {
    // README.md shows from here
    auto connection = QD_OrvelConnection::create(QD_ORVEL_PROVIDER_CONFIG_DEFAULT); // see OrvelConfig.xml
    connection->open("Parts", "", 0);
    connection->execNoQuery("CREATE TABLE IF NOT EXISTS parts (id INTEGER PRIMARY KEY, name TEXT)", 0);
    QD_OrvelTransaction transaction(connection, QD_ORVEL_TRANSACTION_IMMEDIATE, true, "");
    auto insert = connection->createCommand("INSERT INTO parts (name) VALUES (?)", 0);
    insert->addStringParam("hex nut");
    insert->execNoQuery(0);
    transaction.commit(); // leaving the scope without it takes everything back
    auto rows = connection->execQuery("SELECT id, name FROM parts", 0);
    for (std::string name; !rows->eof(); rows->nextRow()) {
        int id = 0;
        if (rows->getIntField(0, id) && rows->getStringField("name", name)) {
            std::printf("%d %s\n", id, name.c_str());
        }
    }
    // README.md shows up to here
} catch (QD_OrvelException& error) {
    std::fprintf(stderr, "%s\n", error.errorMessage());
    return 1;
}
