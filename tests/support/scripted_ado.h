#ifndef ORVEL_TESTS_SCRIPTED_ADO_H
#define ORVEL_TESTS_SCRIPTED_ADO_H

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "platform/ado/Command.h"
#include "platform/ado/class_factory.h"
#include "platform/ado/constants.h"
#include "platform/ado/error_list.h"
#include "platform/ado/status.h"
#include "tests/support/temporary_directory.h"

// Objects in the place of an engine's: they write down what they are asked, answer what they were told to and
// fail where they were told to.

namespace orvel::tests {

namespace ado = platform::ado;

struct AdoScript {
    struct Column {
        std::string name;
        std::int32_t type = ado::adVarWChar;
        ado::Variant value;
        std::int32_t size = 0;
        ado::Variant chunk;
    };

    std::string calls;                                     ///< one behind the other
    std::map<std::string, std::function<void()>> failures; ///< by member; raise something
    std::shared_ptr<ado::ErrorList> errors = std::make_shared<ado::ErrorList>();
    ado::Variant affected = std::int64_t{0};
    std::vector<Column> columns; ///< the same in every row
    int rows = 0;                ///< of every result

    template <class Answer = bool>
    Answer reached(const std::string& member, Answer answer = {}) const {
        if (const auto failure = failures.find(member); failure != failures.end()) failure->second();
        return answer;
    }
    /// Writes the call down, with its arguments.
    template <class... Arguments>
    void called(const std::string& member, const Arguments&... arguments) {
        std::ostringstream call;
        [[maybe_unused]] const char* separator = "(";
        ((call << std::exchange(separator, ",") << arguments), ...);
        calls += (calls.empty() ? "" : " ") + member + call.str() + (sizeof...(arguments) > 0 ? ")" : "");
        reached(member);
    }
};

/// A value as the scripted objects write it down.
inline std::string written(const ado::Variant& value) {
    if (const auto* const bytes = std::get_if<ado::Bytes>(&value)) {
        return std::to_string(bytes->size()) + " bytes";
    }
    if (ado::isEmptyOrNull(value) || std::holds_alternative<ado::Missing>(value)) {
        return ado::isEmptyOrNull(value) ? "empty" : "missing";
    }
    const char* const kind = std::holds_alternative<std::int64_t>(value)   ? "int "
                             : std::holds_alternative<ado::Decimal>(value) ? "decimal "
                                                                           : "";
    return kind + ado::toText(value);
}

struct ScriptedField : ado::Field {
    AdoScript::Column column;
    explicit ScriptedField(AdoScript::Column shown) : column(std::move(shown)) {}
    std::string name() override { return column.name; }
    std::int32_t type() override { return column.type; }
    const ado::Variant& value() override { return column.value; }
    std::string takeText() override { return ado::toText(column.value); }
    std::int32_t actualSize() override { return column.size; }
    const ado::Variant& getChunk(std::int32_t) override { return column.chunk; }
};

/// A result, and all of its fields.
struct ScriptedRecordset : ado::Recordset, ado::Fields {
    AdoScript& script;
    int left = script.rows;
    std::deque<ScriptedField> given;
    explicit ScriptedRecordset(AdoScript& own) : script(own) {}
    bool eof() override { return script.reached("EOF", left == 0); }
    void moveNext() override { left -= script.reached("MoveNext", 1); }
    ado::Fields& fields() override {
        script.reached("Fields");
        return *this;
    }
    std::int32_t state() override { return ado::adStateOpen; }
    void close() override { script.reached("Recordset.Close"); }
    ado::Ref<ado::Connection> activeConnection() override { return nullptr; }

    std::int32_t count() override { return static_cast<std::int32_t>(script.columns.size()); }
    ado::Field& item(std::string_view name) override {
        script.called("Fields.Item", name);
        return item(0);
    }
    ado::Field& item(std::int32_t position) override {
        if (position < 0 || position >= count()) {
            throw platform::ComError(ado::adErrItemNotFound, "no such item");
        }
        return given.emplace_back(script.columns[static_cast<std::size_t>(position)]);
    }
};

inline ado::Ref<ado::Recordset> resultOf(AdoScript& script, ado::Variant* affected) {
    if (affected != nullptr) *affected = script.affected;
    return std::make_shared<ScriptedRecordset>(script);
}

struct ScriptedConnection : ado::Connection {
    AdoScript& script;
    std::int32_t current = ado::adStateClosed;
    explicit ScriptedConnection(AdoScript& own) : script(own) {}
    void setConnectionTimeout(std::int32_t seconds) override { script.called("ConnectionTimeout", seconds); }
    void setCommandTimeout(std::int32_t seconds) override { script.called("CommandTimeout", seconds); }
    void open(const std::string& text, const std::string& user, const std::string& password,
              std::int32_t options) override {
        script.called("Open", text + user + password, options);
        current = ado::adStateOpen;
    }
    std::int32_t state() override { return script.reached("State", current); }
    void close() override {
        script.called("Close");
        current = ado::adStateClosed;
    }
    std::string provider() override { return script.reached<std::string>("Provider", "scripted"); }
    std::string version() override { return script.reached<std::string>("Version", "1.0"); }
    ado::Ref<ado::Recordset> execute(const std::string& text, ado::Variant* affected,
                                     std::int32_t options) override {
        script.called("Execute", text, options);
        return resultOf(script, affected);
    }
    void setIsolationLevel(std::int32_t level) override { script.called("IsolationLevel", level); }
    std::int32_t beginTrans() override {
        script.called("BeginTrans");
        return 1;
    }
    void commitTrans() override { script.called("CommitTrans"); }
    void rollbackTrans() override { script.called("RollbackTrans"); }
    ado::Ref<ado::Errors> errors() override { return script.reached("Errors", script.errors); }
};

/// A command, and all of its parameters.
struct ScriptedCommand : ado::Command, ado::Parameters, ado::Parameter {
    AdoScript& script;
    ado::Ref<ado::Connection> connection;
    std::int32_t appended = 0;
    explicit ScriptedCommand(AdoScript& own) : script(own) {}
    void setActiveConnection(const ado::Ref<ado::Connection>& on) override { connection = on; }
    ado::Ref<ado::Connection> activeConnection() override { return connection; }
    void setCommandTimeout(std::int32_t seconds) override { script.called("CommandTimeout", seconds); }
    void setCommandText(const std::string& text) override { script.called("CommandText", text); }
    ado::Ref<ado::Parameter> createParameter(std::string_view name, std::int32_t type, std::int32_t direction,
                                             std::int32_t size, ado::Variant&& value) override {
        script.called("CreateParameter", std::string(name) + std::to_string(type), direction, size,
                      written(value));
        return std::shared_ptr<ado::Parameter>(std::shared_ptr<void>(), this);
    }
    ado::Parameters& parameters() override { return *this; }
    ado::Ref<ado::Recordset> execute(ado::Variant* affected, std::int32_t options) override {
        script.called("Command.Execute", options);
        return resultOf(script, affected);
    }
    void setPrecision(std::uint8_t digits) override { script.called("Precision", +digits); }
    void setNumericScale(std::uint8_t digits) override { script.called("NumericScale", +digits); }
    void appendChunk(std::span<const std::byte> data) override {
        script.called("AppendChunk", std::to_string(data.size()) + " bytes");
    }
    void append(const ado::Ref<ado::Parameter>& parameter) override {
        script.called("Append");
        if (!parameter) throw platform::ComError(ado::adErrInvalidArgument, "no parameter");
        ++appended;
    }
    std::int32_t count() override { return appended; }
    void remove(std::int32_t index) override {
        script.called("Delete", index);
        --appended;
    }
};

inline constexpr const char* scriptedConfiguration =
    R"(<c><MajorVersion>0</MajorVersion><MinorVersion>2</MinorVersion>
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
</E><F><Properties><MasterDBName>m</MasterDBName><DBFileExtension>.mdf</DBFileExtension></Properties></F>
</DatabaseSection></c>)";

/// Every object that the provider makes is a scripted one while it lives.
class ScriptedEngine : public testing::Test {
protected:
    TemporaryDirectory directory;
    std::string file = directory.write("c.xml", scriptedConfiguration);
    AdoScript script;
    ado::Registration<ado::Connection> connections{
        [this] { return std::make_shared<ScriptedConnection>(script); }};
    ado::Registration<ado::Command> commands{[this] { return std::make_shared<ScriptedCommand>(script); }};
};

} // namespace orvel::tests

#endif
