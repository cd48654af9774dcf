// The factory and the application defaults.

#include <gtest/gtest.h>

#include <string>

#include "QD_OrvelInterface.h"
#include "tests/support/expect_error.h"
#include "tests/support/temporary_directory.h"

namespace {

using orvel::tests::Error;
using orvel::tests::errorOf;

const std::string twice = "QD_OrvelConnection::create <- QD_OrvelConnection::create";

class Factory : public testing::Test {
protected:
    ~Factory() override {
        QD_OrvelConnection::setAppDefault(QD_ORVEL_APPDEF_CONFIG_FILE, 0, "OrvelConfig.xml");
        QD_OrvelConnection::setAppDefault(QD_ORVEL_APPDEF_PRIMARY_PROVIDER, 4, nullptr);
        QD_OrvelConnection::setAppDefault(QD_ORVEL_APPDEF_SECONDARY_PROVIDER, 4, nullptr);
    }

    orvel::tests::TemporaryDirectory directory;

    std::string write(const std::string& common, const std::string& defaults = "") const {
        QD_OrvelConnection::flushDBConfig();
        return directory.write(
            "c.xml", "<c><MajorVersion>0</MajorVersion><MinorVersion>2</MinorVersion><CommonSection>" +
                         common + "</CommonSection><ProviderSection><ADO><Defaults>" + defaults +
                         "</Defaults></ADO></ProviderSection></c>");
    }

    /// "SQLITE", or the code of the error.
    static std::string made(int provider, const std::string& file, const char* database = nullptr,
                            const char* instance = nullptr) {
        std::string name;
        const Error error = errorOf([&] {
            name = QD_OrvelConnection::create(static_cast<QD_OrvelProvider>(provider), file.c_str(), nullptr,
                                              database, instance)
                       ->getProvider();
        });
        return name.empty() ? std::to_string(error.code) + " " + error.trace : name;
    }
};

TEST_F(Factory, providersComeFromTheArgumentTheSlotsOrTheFile) {
    const std::string file = write("<DefaultProvider>SQLite</DefaultProvider>");
    for (const int provider : {1, 2, 3, 4}) {
        EXPECT_EQ(made(provider, file), "SQLITE") << provider;
    }
    for (const int provider : {0, 6, -1}) {
        EXPECT_EQ(made(provider, file), "2 " + twice) << provider;
    }
    for (const int slot : {0, 1, 2, 6}) {
        QD_OrvelConnection::setAppDefault(QD_ORVEL_APPDEF_PRIMARY_PROVIDER, slot, nullptr);
        EXPECT_EQ(made(1, file), "2 " + twice) << slot << " is not resolved again";
        EXPECT_EQ(made(2, file), "SQLITE");
    }
    QD_OrvelConnection::setAppDefault(QD_ORVEL_APPDEF_SECONDARY_PROVIDER, 3, nullptr);
    EXPECT_EQ(made(2, file), "SQLITE");
    EXPECT_EQ(errorOf([&] { QD_OrvelConnection::create(static_cast<QD_OrvelProvider>(6), file.c_str()); }),
              (Error{2, 0, "", twice, 0}));
}

TEST_F(Factory, theFileSelectsAdoByNameInAnyLetterCase) {
    for (const char* name : {"ADO", "ado", "Ado"}) {
        EXPECT_EQ(made(3, write(std::string("<DefaultProvider>") + name + "</DefaultProvider>")).substr(0, 2),
                  "26")
            << name;
    }
    for (const char* name : {"<DefaultProvider>ADO2</DefaultProvider>",
                             "<DefaultProvider>A</DefaultProvider>", "<DefaultProvider/>", ""}) {
        EXPECT_EQ(made(3, write(name)), "SQLITE") << name;
    }
}

TEST_F(Factory, adoNeedsADatabaseAndAnInstance) {
    const std::string missing = "26 QD_OrvelConfig::getProviderDefault <- QD_OrvelConfig::getProviderDefault "
                                "<- QD_OrvelConnection::create";
    EXPECT_EQ(made(5, write("")), missing);
    EXPECT_EQ(made(5, write("", "<Database>Engine</Database>")), missing) << "no instance";
    EXPECT_EQ(made(5, write(""), ""), missing)
        << "an empty database is a value, the instance is still missing";
    QD_OrvelConnection::setAppDefault(QD_ORVEL_APPDEF_SECONDARY_PROVIDER, 5, nullptr);
    EXPECT_EQ(made(2, write("")), missing);
}

TEST_F(Factory, theFileNameComesFromTheArgumentOrElseFromItsSlot) {
    const std::string file = write("");
    QD_OrvelConnection::setAppDefault(QD_ORVEL_APPDEF_CONFIG_FILE, 0,
                                      (directory.path().string() + "/none.xml").c_str());
    EXPECT_EQ(made(4, file), "SQLITE");
    EXPECT_EQ(made(4, "").substr(0, 2), "1 ");
    EXPECT_EQ(errorOf([] { QD_OrvelConnection::create(QD_ORVEL_PROVIDER_SQLITE); }).code,
              QD_ORVEL_ERR_CONFIG_FILE);
    QD_OrvelConnection::setAppDefault(QD_ORVEL_APPDEF_CONFIG_FILE, 0, file.c_str());
    QD_OrvelConnection::setAppDefault(QD_ORVEL_APPDEF_CONFIG_FILE, 0, nullptr); // leaves it as it is
    for (const int unknown : {0, 6, -1}) {
        QD_OrvelConnection::setAppDefault(static_cast<QD_OrvelAppDefault>(unknown), 9, "nowhere");
    }
    EXPECT_EQ(made(1, ""), "SQLITE");
    QD_OrvelConnection::setAppDefault(QD_ORVEL_APPDEF_CONFIG_FILE, 0, "");
    EXPECT_EQ(made(4, "").substr(0, 2), "1 ") << "the empty name is tried as it is";
}

} // namespace
