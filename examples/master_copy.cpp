// Lets the configuration file make itself from a master file: master_copy MASTER_FILE

#include <orvel/QD_OrvelInterface.h>

#include <cstdio>

int main(int count, char** arguments) try {
    if (count != 2) {
        std::fputs("usage: master_copy MASTER_FILE\n", stderr);
        return 1;
    }
    const char* const master = arguments[1];
    // docs/configuration.md shows from here
    QD_OrvelConnection::setAppDefault(QD_ORVEL_APPDEF_MASTER_CONFIG_FILE, 0, master);
    auto connection = QD_OrvelConnection::create(QD_ORVEL_PROVIDER_CONFIG_DEFAULT); // makes the file
    // docs/configuration.md shows up to here
    std::printf("%s\n", connection->getProvider());
} catch (QD_OrvelException& error) {
    std::fprintf(stderr, "%s\n", error.errorMessage());
    return 1;
}
