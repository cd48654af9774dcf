// The factory and the application defaults.

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>

#include "QD_OrvelInterface.h"
#include "tests/support/expect_error.h"
#include "tests/support/temporary_directory.h"

namespace {

const std::string refused = "2 QD_OrvelConnection::create <- QD_OrvelConnection::create";
const std::string missing =
    "26 " + orvel::tests::traceOf("getProviderDefault getProviderDefault QD_OrvelConnection::create",
                                  "QD_OrvelConfig");

class Factory : public testing::Test {
protected:
    ~Factory() override {
        set(QD_ORVEL_APPDEF_CONFIG_FILE, 0, "OrvelConfig.xml");
        set(QD_ORVEL_APPDEF_PRIMARY_PROVIDER, 4);
        set(QD_ORVEL_APPDEF_SECONDARY_PROVIDER, 4);
    }

    orvel::tests::TemporaryDirectory directory;

    static void set(int slot, int value, const char* text = nullptr) {
        QD_OrvelConnection::setAppDefault(static_cast<QD_OrvelAppDefault>(slot), value, text);
    }
    std::string write(const std::string& common, const std::string& defaults = "") const {
        QD_OrvelConnection::flushDBConfig();
        return directory.write(
            "c.xml", "<c><MajorVersion>0</MajorVersion><MinorVersion>2</MinorVersion><CommonSection>" +
                         common + "</CommonSection><ProviderSection><ADO><Defaults>" + defaults +
                         "</Defaults></ADO></ProviderSection></c>");
    }

    /// The provider's name, which ADO does not have yet, or the error.
    static std::string made(int provider, const std::string& file, const char* database = nullptr,
                            const char* instance = nullptr) {
        std::string name = "ADO";
        const orvel::tests::Error error = orvel::tests::errorOf([&] {
            const auto connection = QD_OrvelConnection::create(static_cast<QD_OrvelProvider>(provider),
                                                               file.c_str(), nullptr, database, instance);
            if (connection->getProvider() != nullptr) {
                name = connection->getProvider();
            }
        });
        return error.code < 0 ? name : std::to_string(error.code) + " " + error.trace + error.provText;
    }
};

TEST_F(Factory, providersComeFromTheArgumentTheSlotsOrTheFile) {
    const std::string file = write("<DefaultProvider>SQLite</DefaultProvider>");
    for (const int provider : {1, 2, 3, 4}) {
        EXPECT_EQ(made(provider, file), "SQLITE") << provider;
    }
    for (const int provider : {0, 6, -1}) {
        EXPECT_EQ(made(provider, file), refused) << provider;
    }
    for (const int slot : {0, 1, 2, 6}) {
        set(QD_ORVEL_APPDEF_PRIMARY_PROVIDER, slot);
        EXPECT_EQ(made(1, file), refused) << slot << " is not resolved again";
        EXPECT_EQ(made(2, file), "SQLITE") << "the other slot";
    }
    for (const auto& [text, ado] :
         {std::pair("ADO", true), {"aDo", true}, {"ADO2", false}, {"A", false}, {"", false}}) {
        write(std::string("<DefaultProvider>") + text + "</DefaultProvider>");
        EXPECT_EQ(made(3, file), ado ? missing : "SQLITE") << text;
        set(QD_ORVEL_APPDEF_SECONDARY_PROVIDER, 3);
        EXPECT_EQ(made(2, file), ado ? missing : "SQLITE") << text;
    }
    EXPECT_EQ(made(3, write("")), "SQLITE");
    set(QD_ORVEL_APPDEF_SECONDARY_PROVIDER, 5);
    EXPECT_EQ(made(2, file), missing);
}

TEST_F(Factory, adoNeedsADatabaseAndAnInstanceButNoServer) {
    const std::string database = "<Database>Engine</Database>";
    const std::string instance = "<Instance>i</Instance>";
    for (const auto& [defaults, databaseArgument, instanceArgument, lacks] :
         {std::tuple(std::string(), static_cast<const char*>(nullptr), static_cast<const char*>(nullptr),
                     true),
          {database, nullptr, nullptr, true},
          {instance, nullptr, nullptr, true},
          {database + instance, nullptr, nullptr, false},
          {instance, "", nullptr, false},
          {database, nullptr, "", false},
          {"", "", nullptr, true},
          {"", "", "", false}}) {
        EXPECT_EQ(made(5, write("", defaults), databaseArgument, instanceArgument) == missing, lacks)
            << defaults << "; an empty argument is a value";
    }
}

TEST_F(Factory, theFileNameComesFromTheArgumentOrElseFromItsSlot) {
    const std::string file = write("");
    set(QD_ORVEL_APPDEF_CONFIG_FILE, 0, directory.file("none.xml").c_str());
    EXPECT_EQ(made(4, file), "SQLITE");
    EXPECT_EQ(made(4, "").substr(0, 2), "1 ");
    EXPECT_EQ(orvel::tests::errorOf([] { QD_OrvelConnection::create(QD_ORVEL_PROVIDER_SQLITE); }).code, 1);
    set(QD_ORVEL_APPDEF_CONFIG_FILE, 0, file.c_str());
    set(QD_ORVEL_APPDEF_CONFIG_FILE, 0, nullptr); // leaves it as it is
    for (const int unknown : {0, 6, -1}) {
        set(unknown, 9, "nowhere");
    }
    EXPECT_EQ(made(1, ""), "SQLITE");
    set(QD_ORVEL_APPDEF_CONFIG_FILE, 0, "");
    EXPECT_EQ(made(4, "").substr(0, 2), "1 ") << "the empty name is tried as it is";
}

} // namespace
