// An application of its own, which knows the library only as installed: what it needs of it, and that
// an exception and a handle made on one side of the library's border are understood on the other.

#include <orvel/QD_OrvelInterface.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

int failures = 0;

void expect(bool holds, const char* what) {
    std::printf("%s: %s\n", holds ? "ok" : "FAILED", what);
    failures += holds ? 0 : 1;
}

void catchesWhatTheLibraryThrows() {
    std::string trace;
    try {
        QD_OrvelTools::throwOnNullString(nullptr);
    } catch (QD_OrvelException& exception) {
        exception.stackTrace(trace);
        expect(exception.errorCode() == QD_ORVEL_ERR_INVALID_POINTER, "the exception has its code");
    }
    expect(trace == "QD_OrvelTools::throwOnNullString", "it is caught by type, with its trace");
}

void worksOnADatabase(const char* configuration) {
    auto connection = QD_OrvelConnection::create(QD_ORVEL_PROVIDER_CONFIG_DEFAULT, configuration);
    connection->open("Outside", ".", 0);
    connection->execNoQuery("DROP TABLE IF EXISTS t; CREATE TABLE t (a); INSERT INTO t VALUES (7)", 0);
    expect(connection->execQueryScalar("SELECT a FROM t", 0) == 7, "a database takes and gives a value");
    connection->dropDatabase("Outside", ".");
    expect(!connection->databaseExists("Outside", "."), "a database can be dropped");
}

} // namespace

/// The argument is the configuration file that was installed with the library.
int main(int count, char** arguments) try {
    if (count != 2) return 2;
    catchesWhatTheLibraryThrows();
    worksOnADatabase(arguments[1]);
    expect(std::strcmp(errorText(QD_ORVEL_ERR_UNSPECIFIED), "Unspecified error") == 0,
           "error texts are exported");
    return failures == 0 ? 0 : 1;
} catch (QD_OrvelException& exception) {
    std::printf("FAILED: %s\n", exception.errorMessage());
    return 1;
}
