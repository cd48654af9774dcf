// The provider over scripted objects: what it asks of the object model, and what no engine does on demand.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <new>
#include <vector>

#include "QD_ADOOrvelInterface.h"
#include "QD_OrvelTransaction.h"
#include "tests/support/diagnostic_lines.h"
#include "tests/support/expect_error.h"
#include "tests/support/scripted_ado.h"
#include "tests/support/temporary_directory.h"

namespace {

using namespace orvel::tests;
using orvel::platform::ComError;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using Calls = std::vector<std::string>;

constexpr unsigned long fail = 0x80004005;
constexpr unsigned long pointer = 0x80004003;

void failed() { throw ComError(fail, "words"); }
void exhausted() { throw std::bad_alloc(); }

constexpr const char* configuration = R"(<c><MajorVersion>0</MajorVersion><MinorVersion>2</MinorVersion>
<ProviderSection><ADO><Defaults><ServerDBFilePath>E:\data</ServerDBFilePath></Defaults><E><Properties>
 <ConnectionString>$(serverName)/$(instanceName)/$(dbName)</ConnectionString>
 <LocalServerName>here</LocalServerName></Properties></E></ADO></ProviderSection>
<DatabaseSection><E><Properties><MasterDBName>master</MasterDBName></Properties>
 <Commands><DoesTableExist>has $(tableName)</DoesTableExist><ListTables>tables</ListTables>
  <ListTableColumns>columns $(tableName)</ListTableColumns><DropTable>drop $(tableName)</DropTable>
  <GetLastInsertedID>last</GetLastInsertedID><DoesDatabaseExist>is $(dbName)</DoesDatabaseExist>
  <DropDatabase>away $(dbName)</DropDatabase></Commands>
 <DatabaseTemplates><D><CreateDatabase>new $(dbName) $(dbPathName)</CreateDatabase>
  <SetupDatabase>set $(dbName) $(dbPathName)</SetupDatabase></D></DatabaseTemplates>
 <TableTemplates><T><CreateTable>t $(tableName)</CreateTable><SetupTable>s $(tableName)</SetupTable>
  <AlterTable3>a $(tableName)</AlterTable3></T><U><CreateTable>u $(tableName)</CreateTable></U></TableTemplates>
</E></DatabaseSection></c>)";

/// What an application's own class could reach.
class Reachable : public QD_ADOOrvelConnection {
public:
    Reachable(const std::string& file, const char* serverName)
        : QD_ADOOrvelConnection(file.c_str(), serverName, "E", "i") {}
    using QD_ADOOrvelConnection::abortTransaction;
    using QD_ADOOrvelConnection::beginTransaction;
    using QD_ADOOrvelConnection::commitTransaction;
    using QD_ADOOrvelConnection::getDBPathName;
};

class ScriptedAdo : public testing::Test {
protected:
    TemporaryDirectory directory;
    std::string file = directory.write("c.xml", configuration);
    AdoScript script;
    ado::Registration<ado::Connection> connections{
        [this] { return std::make_shared<ScriptedConnection>(script); }};
    ado::Registration<ado::Command> commands{[this] { return std::make_shared<ScriptedCommand>(script); }};
    DiagnosticLines lines;
    Reachable connection{file, "far"};

    void SetUp() override { QD_OrvelConnection::flushDBConfig(); }

    void open(const char* name = "db") {
        connection.open(name, nullptr, 0);
        script.taken();
    }
    QD_OrvelCommandHandle command() {
        open();
        QD_OrvelCommandHandle made = connection.createCommand("text", 0);
        script.taken();
        return made;
    }
    QD_OrvelQueryHandle query(AdoScript::Column column) {
        script.columns = {std::move(column)};
        script.rows = 1;
        open();
        return connection.execQuery("q", 0);
    }
    template <class Body>
    Calls callsOf(Body&& body) {
        script.taken();
        std::forward<Body>(body)();
        return script.taken();
    }
    static std::string line(const char* form, const std::string& function, const std::string& text) {
        return std::string(form) + ": QD_ADOOrvelInterface, Line [0-9]+, " + function + " - " + text + "\n";
    }
};

TEST_F(ScriptedAdo, openSetsTimeoutsThenOpensWhatTheConfigurationSays) {
    EXPECT_EQ(connection.getProvider(), nullptr);
    EXPECT_EQ(connection.getVersion(), nullptr);
    EXPECT_THAT(callsOf([&] { connection.open("db", "path", 7); }),
                ElementsAre("ConnectionTimeout(30)", "CommandTimeout(30)", "Open(far/i/db,0)"));
    EXPECT_STREQ(connection.getProvider(), "scripted");
    EXPECT_STREQ(connection.getVersion(), "1.0");
    Reachable local(file, "");
    EXPECT_EQ(callsOf([&] { local.open("db", nullptr, 0); }).back(), "Open(here/i/db,0)");
    connection.close();
    connection.close();
    EXPECT_FALSE(connection.isOpen());
    EXPECT_STREQ(connection.getProvider(), "scripted") << "known from then on";
}

TEST_F(ScriptedAdo, argumentsAreCheckedBeforeAnythingIsMade) {
    const std::string check = "QD_OrvelTools::throwOnNullOrEmptyString <- QD_ADOOrvelConnection::";
    const auto expect = [&](const std::string& operation, const std::function<void()>& body) {
        EXPECT_EQ(errorOf(body), (Error{23, 0, "", check + operation, 0})) << operation;
    };
    for (const char* empty : {static_cast<const char*>(nullptr), ""}) {
        expect("open", [&] { connection.open(empty, nullptr, 0); });
        expect("createCommand", [&] { connection.createCommand(empty, 0); });
        expect("tableExists", [&] { connection.tableExists(empty); });
        expect("getTableRowCount", [&] { connection.getTableRowCount(empty); });
        expect("createTable", [&] { connection.createTable(empty, "t"); });
        expect("createTable", [&] { connection.createTable("T", empty); });
        expect("alterTable", [&] { connection.alterTable("T", 3, empty); });
        expect("dropTable", [&] { connection.dropTable(empty); });
        expect("databaseExists", [&] { connection.databaseExists(empty, nullptr); });
        expect("createDatabase", [&] { connection.createDatabase("D", empty, nullptr, 0); });
        expect("dropDatabase", [&] { connection.dropDatabase(empty, nullptr); });
        EXPECT_EQ(connection.execNoQuery(empty, 0), 0);
        EXPECT_TRUE(connection.execQuery(empty, 0)->eof());
        EXPECT_EQ(connection.execQueryScalar(empty, 0), 0);
    }
    const QD_OrvelConnectionHandle without = QD_ADOOrvelConnection::create(file.c_str(), "far", "E", nullptr);
    expect("open", [&] { without->open("db", nullptr, 0); });
    EXPECT_THAT(script.calls, IsEmpty());
    EXPECT_EQ(errorOf([&] { QD_ADOOrvelConnection::create(file.c_str(), "far", "none", "i"); }).code, 26);
}

TEST_F(ScriptedAdo, aClosedConnectionSaysSo) {
    const auto expect = [&](const std::string& traced, const std::function<void()>& body) {
        EXPECT_EQ(errorOf(body),
                  (Error{12, 1, "Null Database pointer", "QD_ADOOrvelConnection::checkDB" + traced, 0}));
    };
    const std::string arrow = " <- QD_ADOOrvelConnection::";
    expect(arrow + "execNoQuery", [&] { connection.execNoQuery("x", 0); });
    expect(arrow + "execQuery", [&] { connection.execQueryScalar("x", 0); });
    expect(arrow + "execQuery" + arrow + "tableExists", [&] { connection.tableExists("t"); });
    expect(arrow + "getTableRowCount", [&] { connection.getTableRowCount("t"); });
    expect(arrow + "dropTable", [&] { connection.dropTable("t"); });
    expect(arrow + "getLastInsertedId", [&] { connection.getLastInsertedId(); });
    expect(arrow + "beginTransaction", [&] { connection.beginTransaction(0, ""); });
    expect(arrow + "commitTransaction", [&] { connection.commitTransaction(""); }); // the begin counted
    connection.compressDatabase();
    EXPECT_THAT(lines.all(), IsEmpty());
}

TEST_F(ScriptedAdo, anEngineIsQuotedWholeAndItsLastCodeWins) {
    open();
    script.failures["Execute"] = failed;
    script.errors = {{"one", 7}, {"two", -8}};
    const std::string trace = "QD_ADOOrvelConnection::execNoQuery";
    EXPECT_EQ(errorOf([&] { connection.execNoQuery("x", 0); }),
              (Error{13, 0xFFFFFFF8, "onetwo", trace, fail}));
    script.errors.clear();
    EXPECT_EQ(errorOf([&] { connection.execNoQuery("x", 0); }), (Error{13, 0, "words", trace, fail}));
    script.failures["Errors.Count"] = exhausted;
    EXPECT_EQ(errorOf([&] { connection.tableExists("t"); }),
              (Error{14, 0, "words", "QD_ADOOrvelConnection::execQuery <- QD_ADOOrvelConnection::tableExists",
                     fail}));
    script.failures["Execute"] = exhausted;
    EXPECT_EQ(errorOf([&] { connection.execNoQuery("x", 0); }),
              (Error{13, 1, "Runtime Exception", trace, 0}));
    EXPECT_THAT(lines.all(),
                ElementsAre(MatchesRegex(line("CATCH _com_error", trace, "onetwo")),
                            MatchesRegex(line("CATCH _com_error", trace, ".+")),
                            MatchesRegex(line("CATCH _com_error", "QD_ADOOrvelConnection::execQuery", ".+")),
                            MatchesRegex(line("CATCH ... ", trace, "Runtime exception caught"))));
}

TEST_F(ScriptedAdo, aCloseThatFailsKeepsTheObjectUntilTheNextOpen) {
    open();
    script.failures["Close"] = failed;
    connection.close();
    EXPECT_TRUE(connection.isOpen());
    script.failures["Close"] = exhausted;
    connection.close();
    script.failures["State"] = failed;
    EXPECT_FALSE(connection.isOpen());
    EXPECT_THAT(
        lines.all(),
        ElementsAre(
            MatchesRegex(line("CATCH _com_error", "QD_ADOOrvelConnection::close", ".+")),
            MatchesRegex(line("CATCH... ", "QD_ADOOrvelConnection::close", "Runtime exception caught")),
            MatchesRegex(line("CATCH ... ", "QD_ADOOrvelConnection::isOpen", "Runtime exception caught"))));
    script.failures.clear();
    EXPECT_EQ(callsOf([&] { connection.dropDatabase("db", nullptr); }).front(), "ConnectionTimeout(30)")
        << "it is not open on that name any more";
    open();
    EXPECT_TRUE(connection.isOpen());
}

TEST_F(ScriptedAdo, timeoutsAreWholeSecondsAndKeptForTheNextOpen) {
    struct Case {
        int milliseconds;
        const char* seconds;
    };
    for (const Case& item :
         {Case{1500, "1"}, Case{500, "0"}, Case{0, "0"}, Case{-1500, "0"}, Case{61000, "61"}}) {
        connection.close();
        connection.setBusyTimeout(item.milliseconds);
        const std::string expected = item.seconds + std::string(")");
        EXPECT_THAT(
            callsOf([&] { connection.open("db", nullptr, 0); }),
            ElementsAre("ConnectionTimeout(" + expected, "CommandTimeout(" + expected, "Open(far/i/db,0)"));
        EXPECT_THAT(callsOf([&] { connection.createCommand("text", 0); }),
                    ElementsAre("Command.CommandTimeout(" + expected, "CommandText(text)"));
    }
    EXPECT_THAT(lines.all(), testing::Each(MatchesRegex(
                                 line("CATCH _com_error", "QD_ADOOrvelConnection::setBusyTimeout", ".+"))));
    EXPECT_EQ(lines.all().size(), 5U) << "one for every change while it was closed";
}

TEST_F(ScriptedAdo, databaseFilesHaveThePathTheServerSees) {
    struct Case {
        const char* server;
        const char* directory;
        const char* expected;
    };
    for (const Case& item :
         {Case{"far", "C:\\d", "C:\\d\\x.dbf"}, Case{"far", "C:\\d\\", "C:\\d\\x.dbf"},
          Case{"far", "", "\\x.dbf"}, Case{"far", "\\\\net\\d", "E:\\data\\x.dbf"},
          Case{"HERE", "\\\\net\\d", "\\\\net\\d\\x.dbf"}, Case{"", "\\\\net", "\\\\net\\x.dbf"}}) {
        Reachable on(file, item.server);
        std::string path;
        on.getDBPathName("x", item.directory, path);
        EXPECT_EQ(path, item.expected);
        on.getDBPathName(nullptr, "d", path);
        on.getDBPathName("x", nullptr, path);
        EXPECT_EQ(path, item.expected) << "left alone";
    }
}

TEST_F(ScriptedAdo, whatAnEngineDoesNotCountIsNone) {
    QD_OrvelCommandHandle made = command();
    struct Case {
        ado::Variant affected;
        int expected;
    };
    for (const Case& item : {Case{std::int64_t{3}, 3}, Case{std::int64_t{-1}, 0}, Case{ado::Empty{}, 0},
                             Case{std::int64_t{1} << 40, INT_MAX}}) {
        script.affected = item.affected;
        EXPECT_EQ(connection.execNoQuery("x", 5), item.expected);
        EXPECT_EQ(made->execNoQuery(5), item.expected);
    }
    EXPECT_THAT(callsOf([&] { connection.execNoQuery("x", 5); }), ElementsAre("Execute(x,128)"));
    EXPECT_THAT(callsOf([&] { made->execNoQuery(5); }), ElementsAre("Command.Execute(129)"));
    EXPECT_THAT(callsOf([&] { made->execQuery(5); }),
                ElementsAre("Command.Execute(1)", "EOF", "Recordset.Close"));
}

TEST_F(ScriptedAdo, parametersAreDeclaredByKind) {
    QD_OrvelCommandHandle made = command();
    const unsigned char bytes[] = {1, 2, 3};
    const std::string decimals = "Precision(22) NumericScale(0) Append";
    const auto expect = [&](const std::string& expected, const std::function<void()>& body) {
        std::string calls;
        for (const std::string& call : callsOf(body)) {
            calls += (calls.empty() ? "" : " ") + call;
        }
        EXPECT_EQ(calls, "CreateParameter(" + expected);
    };
    expect("3,1,4,int -7) Append", [&] { made->addIntParam(-7); });
    expect("14,1,16,decimal -9000000000) " + decimals, [&] { made->addInt64Param(-9000000000); });
    expect("14,1,16,decimal -9223372036854775808) " + decimals, [&] { made->addInt64Param(LLONG_MIN); });
    expect("5,1,8,0.5) Append", [&] { made->addDoubleParam(0.5); });
    expect("8,1,3,a\U0001F600) Append", [&] { made->addStringParam("a\U0001F600"); });
    expect("205,1,3,missing) AppendChunk(3 bytes) Append", [&] { made->addBlobParam(bytes, 3); });
    expect("3,1,0,empty) Append", [&] { made->addEmptyParam(QD_ORVEL_DATA_INT); });
    expect("14,1,0,empty) " + decimals, [&] { made->addEmptyParam(QD_ORVEL_DATA_INT64); });
    expect("5,1,0,empty) Append", [&] { made->addEmptyParam(QD_ORVEL_DATA_DOUBLE); });
    for (const char* text : {static_cast<const char*>(nullptr), ""}) {
        expect("8,1,1,empty) Append", [&] { made->addStringParam(text); });
    }
    expect("8,1,1,empty) Append", [&] { made->addEmptyParam(QD_ORVEL_DATA_STRING); });
    expect("205,1,1,empty) Append", [&] { made->addBlobParam(bytes, 0); });
    expect("205,1,1,empty) Append", [&] { made->addBlobParam(nullptr, 5); });
    expect("205,1,1,empty) Append", [&] { made->addEmptyParam(QD_ORVEL_DATA_BLOB); });
    const Calls removed = callsOf([&] { made->resetParams(); });
    EXPECT_EQ(removed.size(), 15U);
    EXPECT_EQ(removed.front(), "Delete(14)");
    EXPECT_EQ(removed.back(), "Delete(0)");
    EXPECT_THAT(callsOf([&] { made->resetParams(); }), IsEmpty());
}

TEST_F(ScriptedAdo, whatCannotBeAParameterIsRefused) {
    QD_OrvelCommandHandle made = command();
    const unsigned char byte = 1;
    EXPECT_EQ(errorOf([&] { made->addEmptyParam(static_cast<QD_OrvelDataKind>(7)); }),
              (Error{27, 0, "no parameter", "QD_ADOOrvelCommand::addEmptyParam", ado::adErrInvalidArgument}));
    EXPECT_EQ(errorOf([&] { made->addBlobParam(&byte, -1); }),
              (Error{27, 1, "Runtime Exception", "QD_ADOOrvelCommand::addBlobParam", 0}));
    script.failures["Append"] = failed;
    script.errors = {{"engine", 5}};
    EXPECT_EQ(errorOf([&] { made->addIntParam(1); }),
              (Error{27, 5, "engine", "QD_ADOOrvelCommand::addIntParam", fail}));
    EXPECT_EQ(errorOf([&] { made->addStringParam(""); }),
              (Error{27, 1, "Runtime Exception", "QD_ADOOrvelCommand::addStringParam", 0}))
        << "the inner operation's own exception is replaced";
    script.failures["CommandText"] = failed;
    EXPECT_EQ(
        errorOf([&] { connection.createCommand("x", 0); }),
        (Error{28, 5, "engine",
               "QD_ADOOrvelCommand::QD_ADOOrvelCommand <- QD_ADOOrvelConnection::createCommand", fail}));
}

TEST_F(ScriptedAdo, aClosedCommandFailsWithItsCode) {
    QD_OrvelCommandHandle made = command();
    made->close();
    made->close();
    const auto expect = [&](int code, const std::string& operation, const std::function<void()>& body) {
        EXPECT_EQ(errorOf(body), (Error{code, 0, "", "QD_ADOOrvelCommand::" + operation, pointer}));
    };
    const unsigned char byte = 1;
    expect(13, "execNoQuery", [&] { made->execNoQuery(0); });
    expect(13, "execQuery", [&] { made->execQuery(0); });
    expect(27, "addIntParam", [&] { made->addIntParam(1); });
    expect(27, "addInt64Param", [&] { made->addInt64Param(1); });
    expect(27, "addDoubleParam", [&] { made->addDoubleParam(1); });
    expect(27, "addStringParam", [&] { made->addStringParam("a"); });
    expect(27, "addBlobParam", [&] { made->addBlobParam(&byte, 1); });
    expect(27, "addEmptyParam", [&] { made->addEmptyParam(QD_ORVEL_DATA_INT); });
    expect(27, "resetParams", [&] { made->resetParams(); });
}

TEST_F(ScriptedAdo, aValueThatDoesNotConvertIsNone) {
    long long wide = 1;
    int narrow = 1;
    QD_OrvelQueryHandle rows =
        query({"c", ado::adVarWChar, std::string("no number"), 9, std::string("no number")});
    EXPECT_FALSE(rows->getInt64Field(0, wide));
    EXPECT_FALSE(rows->getIntField("c", narrow));
    EXPECT_EQ(wide + narrow, 0);
    rows = query(
        {"c", ado::adDecimal, ado::Decimal{.low = 125, .high = 9, .scale = 1, .sign = 0x80}, 0, ado::Null{}});
    EXPECT_TRUE(rows->getInt64Field(0, wide));
    EXPECT_EQ(wide, -125) << "neither point nor high part";
    EXPECT_FALSE(rows->getIntField(nullptr, narrow = 4));
    EXPECT_EQ(narrow, 4) << "no name, nothing touched";
    EXPECT_THAT(lines.all(),
                ElementsAre(MatchesRegex(line("CATCH _com_error", "QD_ADOOrvelQuery::getInt64Field", ".+")),
                            MatchesRegex(line("CATCH _com_error", "QD_ADOOrvelQuery::getIntField", ".+"))));
}

TEST_F(ScriptedAdo, aBlobIsReadWholeOrNotAtAll) {
    struct Case {
        std::int32_t size;
        ado::Variant chunk;
        unsigned int capacity;
        bool read;
    };
    const ado::Bytes three(3, std::byte{7});
    for (const Case& item : {Case{3, three, 3, true}, Case{3, three, 9, true}, Case{3, three, 2, false},
                             Case{3, std::string("abc"), 3, false}, Case{3, ado::Bytes(2), 3, false},
                             Case{3, ado::Null{}, 3, false}, Case{0, three, 3, false}}) {
        const QD_OrvelQueryHandle rows = query({"c", ado::adLongVarBinary, three, item.size, item.chunk});
        unsigned char buffer[9] = {};
        unsigned int size = item.capacity;
        EXPECT_EQ(rows->getBlobField(0, size, buffer), item.read);
        EXPECT_EQ(size, static_cast<unsigned int>(item.size));
        EXPECT_EQ(buffer[2], item.read ? 7 : 0);
        EXPECT_EQ(rows->getBlobField("c", size, nullptr), item.size != 0) << "asking for the size";
    }
}

TEST_F(ScriptedAdo, columnsAreFoundByPositionInSixteenBitsOrByName) {
    const QD_OrvelQueryHandle rows = query({"Name", ado::adVarWChar, std::string("v"), 1, ado::Null{}});
    std::string text;
    EXPECT_TRUE(rows->getStringField(65536, text));
    EXPECT_FALSE(rows->getStringField(32768, text));
    EXPECT_EQ(text, "");
    EXPECT_EQ(callsOf([&] { rows->getStringField("NAME", text); }).front(), "Fields.Item(NAME)");
    int index = 0;
    EXPECT_FALSE(rows->getFieldIndex("NAME", index));
    EXPECT_EQ(index, -1);
    EXPECT_TRUE(rows->getFieldIndex("Name", index));
    EXPECT_EQ(index, 0);
    EXPECT_TRUE(rows->getFieldName(0, text));
    EXPECT_FALSE(rows->getFieldName(1, text));
    EXPECT_EQ(text, "");
    EXPECT_FALSE(rows->getFieldDeclType(-1, text));
    for (const auto& [type, name] : std::map<std::int32_t, std::string>{{0, "adEmpty"},
                                                                        {202, "adVarWChar"},
                                                                        {15, "adUnknown"},
                                                                        {8192, "adArray"},
                                                                        {8195, "adUnknown"}}) {
        EXPECT_TRUE(query({"c", type, ado::Null{}, 0, ado::Null{}})->getFieldDeclType(0, text));
        EXPECT_EQ(text, name);
    }
}

TEST_F(ScriptedAdo, aCursorEndsWhereItsRecordsetFails) {
    QD_OrvelQueryHandle rows = query({"c", ado::adVarWChar, std::string("v"), 1, ado::Null{}});
    EXPECT_EQ(rows->numFields(), 1);
    script.failures["MoveNext"] = failed;
    rows->nextRow();
    EXPECT_EQ(rows->numFields(), 0);
    script.failures["EOF"] = failed;
    EXPECT_TRUE(rows->eof());
    EXPECT_EQ(connection.execQuery("q", 0)->numFields(), 0) << "nor does it begin";
    script.failures["Recordset.Close"] = exhausted;
    rows->close();
    EXPECT_THAT(
        lines.all(),
        ElementsAre(MatchesRegex(line("CATCH _com_error", "QD_ADOOrvelQuery::nextRow", ".+")),
                    MatchesRegex(line("CATCH _com_error", "QD_ADOOrvelQuery::eof", ".+")),
                    MatchesRegex(line("CATCH _com_error", "QD_ADOOrvelQuery::eof", ".+")),
                    MatchesRegex(line("CATCH... ", "QD_ADOOrvelQuery::close", "Runtime exception caught"))));
    script.failures = {{"Fields", failed}};
    EXPECT_EQ(errorOf([&] { connection.execQuery("q", 0); }),
              (Error{29, 0, "words", "QD_ADOOrvelQuery::QD_ADOOrvelQuery <- QD_ADOOrvelConnection::execQuery",
                     fail}));
}

TEST_F(ScriptedAdo, schemaOperationsSendTheConfiguredTextAndNothingElse) {
    open();
    script.columns = {{"c", ado::adInteger, std::int64_t{1}, 4, ado::Null{}}};
    const auto expect = [&](const Calls& expected, const std::function<void()>& body) {
        Calls sent;
        for (const std::string& call : callsOf(body)) {
            if (call.starts_with("Execute(") || call.starts_with("Open(") || call == "Close") {
                sent.push_back(call);
            }
        }
        EXPECT_EQ(sent, expected);
    };
    std::vector<std::string> names = {"old"};
    expect({"Execute(tables,0)"}, [&] { EXPECT_EQ(connection.getTables(names), 0); });
    EXPECT_THAT(names, IsEmpty());
    script.rows = 1;
    expect({"Execute(has t,0)"}, [&] { EXPECT_TRUE(connection.tableExists("t")); });
    expect({"Execute(columns ,0)"}, [&] { EXPECT_EQ(connection.getTableColumnNames(nullptr, names), 1); });
    expect({"Execute(SELECT COUNT(*) FROM t;,0)"}, [&] { EXPECT_EQ(connection.getTableRowCount("t"), 1); });
    expect({"Execute(t n,128)", "Execute(s n,128)"}, [&] { connection.createTable("T", "n"); });
    expect({"Execute(u n,128)"}, [&] { connection.createTable("U", "n"); });
    expect({"Execute(a n_2,128)"}, [&] { connection.alterTable("T", 3, "n_2"); });
    expect({}, [&] { EXPECT_EQ(errorOf([&] { connection.alterTable("T", 4, "n"); }).code, 24); });
    expect({"Execute(drop n,128)"}, [&] { connection.dropTable("n"); });
    expect({"Execute(last,0)"}, [&] { EXPECT_EQ(connection.getLastInsertedId(), 1); });
    expect({"Open(far/i/master,0)", "Execute(is x,0)", "Close"},
           [&] { EXPECT_TRUE(Reachable(file, "far").databaseExists("x", nullptr)); });
    expect({"Open(far/i/master,0)", "Execute(new x E:\\data\\x.dbf,128)", "Close", "Open(far/i/x,0)",
            "Execute(set x $(dbPathName),128)", "Close"},
           [&] { connection.createDatabase("D", "x", "\\\\net\\d", 0); });
    expect({"Open(far/i/master,0)", "Execute(away DB,128)", "Close"},
           [&] { connection.dropDatabase("DB", nullptr); });
    EXPECT_TRUE(connection.isOpen());
    expect({"Close", "Open(far/i/master,0)", "Execute(away db,128)", "Close"},
           [&] { connection.dropDatabase("db", nullptr); });
    EXPECT_FALSE(connection.isOpen());
    script.failures["Execute"] = failed;
    expect({"Open(far/i/master,0)", "Execute(new x ,128)", "Close"}, [&] {
        EXPECT_EQ(errorOf([&] { connection.createDatabase("D", "x", nullptr, 0); }).trace,
                  "QD_ADOOrvelConnection::execNoQuery <- QD_ADOOrvelConnection::createDatabase");
    });
}

TEST_F(ScriptedAdo, anIdOfMoreThan32BitsReadsAsNone) {
    open();
    script.rows = 1;
    script.columns = {{"c", ado::adBigInt, std::int64_t{4294967296}, 8, ado::Null{}}};
    EXPECT_EQ(connection.getLastInsertedId(), 0);
}

TEST_F(ScriptedAdo, onlyTheOutermostTransactionReachesTheEngine) {
    open();
    for (const unsigned int flags : {0U, 1U, 8U, 2U, 4U, 6U, 0x200U}) {
        const std::string level = (flags & 6) != 0 ? "IsolationLevel(1048576)" : "IsolationLevel(4096)";
        EXPECT_THAT(callsOf([&] {
                        connection.beginTransaction(flags, "");
                        connection.beginTransaction(4, "");
                        connection.abortTransaction("");
                        connection.commitTransaction("");
                    }),
                    ElementsAre(level, "BeginTrans", "CommitTrans", "IsolationLevel(4096)"));
    }
    EXPECT_THAT(callsOf([&] {
                    connection.beginTransaction(0, "");
                    connection.abortTransaction("");
                }),
                ElementsAre("IsolationLevel(4096)", "BeginTrans", "RollbackTrans", "IsolationLevel(4096)"));
    EXPECT_EQ(errorOf([&] { connection.commitTransaction(""); }),
              (Error{18, 0, "", "QD_ADOOrvelConnection::commitTransaction", 0}));
    EXPECT_EQ(errorOf([&] { connection.abortTransaction(""); }),
              (Error{18, 0, "", "QD_ADOOrvelConnection::abortTransaction", 0}));
}

TEST_F(ScriptedAdo, theCountMovesWhateverTheEngineSays) {
    open();
    script.failures = {{"BeginTrans", failed}, {"CommitTrans", failed}};
    EXPECT_EQ(errorOf([&] { connection.beginTransaction(0, ""); }).code, 15);
    EXPECT_EQ(errorOf([&] { connection.commitTransaction(""); }),
              (Error{16, 0, "words", "QD_ADOOrvelConnection::commitTransaction", fail}));
    EXPECT_THAT(callsOf([&] { EXPECT_EQ(errorOf([&] { connection.abortTransaction(""); }).code, 18); }),
                ElementsAre("RollbackTrans"))
        << "what the failed commit may have left open";
    EXPECT_THAT(callsOf([&] { EXPECT_EQ(errorOf([&] { connection.abortTransaction(""); }).code, 18); }),
                IsEmpty());
    script.failures = {{"RollbackTrans", failed}};
    connection.beginTransaction(0, "");
    EXPECT_EQ(errorOf([&] { connection.abortTransaction(""); }).code, 17);
    EXPECT_EQ(errorOf([&] { connection.abortTransaction(""); }).code, 18);
}

TEST_F(ScriptedAdo, onlyTextsThatAreRunAreTraced) {
    QD_OrvelCommandHandle made = command();
    QD_OrvelConnection::setAppDefault(QD_ORVEL_APPDEF_SQL_TRACE, 1, nullptr);
    testing::internal::CaptureStderr();
    connection.execNoQuery("n", 0);
    connection.execQuery("q", 0);
    made->execNoQuery(0);
    made->execQuery(0);
    QD_OrvelConnection::setAppDefault(QD_ORVEL_APPDEF_SQL_TRACE, 0, nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Orvel SQL:\"n\"\nOrvel SQL:\"q\"\nOrvel SQL:\"text\"\n");
}

} // namespace
