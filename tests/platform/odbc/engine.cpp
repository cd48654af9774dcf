#include "tests/platform/odbc/engine.h"

#include <cstdlib>
#include <stdexcept>

#include "platform/ado/class_factory.h"
#include "platform/ado/constants.h"

namespace orvel::tests {

void EngineTest::SetUp() {
    std::string name = (std::filesystem::temp_directory_path() / "orvel-odbc.XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    directory = name;
    connection = connect();
}

void EngineTest::TearDown() {
    if (engine().isServer && connection && connection->state() == ado::adStateOpen) {
        run("DROP TABLE IF EXISTS " + table);
    }
    connection.reset();
    std::filesystem::remove_all(directory);
}

std::string EngineTest::connectionString(const std::string& more) const {
    const char* server = std::getenv(engine().variable); // NOLINT(concurrency-mt-unsafe): nobody sets it
    if (server == nullptr) {
        throw std::runtime_error(std::string(engine().variable) +
                                 " is not set: run under script/with-servers");
    }
    const std::string file = engine().isServer ? "" : ";Database=" + (directory / "test.db").string();
    return server + file + engine().options + more;
}

ado::Ref<ado::Connection> EngineTest::connectTo(const std::string& connectionString) {
    auto connection = ado::createObject<ado::Connection>();
    connection->open(connectionString, "", "", 0);
    return connection;
}

void EngineTest::createTable(const std::string& columns) {
    run("DROP TABLE IF EXISTS " + table);
    run("CREATE TABLE " + table + " (" + columns + ")");
}

std::int32_t EngineTest::run(const ado::Ref<ado::Connection>& on, const std::string& text) {
    ado::Variant affected;
    EXPECT_FALSE(on->execute(text, &affected, ado::adExecuteNoRecords));
    return ado::toInt32(affected);
}

std::string EngineTest::ask(const ado::Ref<ado::Connection>& on, const std::string& text) {
    const auto rows = on->execute(text, nullptr, 0);
    return rows->eof() ? "no row" : ado::toText(rows->fields()->item(0)->value());
}

ado::Ref<ado::Command> EngineTest::commandOn(const ado::Ref<ado::Connection>& on, const std::string& text) {
    auto command = ado::createObject<ado::Command>();
    command->setActiveConnection(on);
    command->setCommandText(text);
    return command;
}

void EngineTest::add(const ado::Ref<ado::Command>& command, std::int32_t type, std::int32_t size,
                     const ado::Variant& value) {
    command->parameters()->append(command->createParameter("", type, ado::adParamInput, size, value));
}

void EngineTest::addInteger(const ado::Ref<ado::Command>& command, std::int64_t value) {
    const auto parameter =
        command->createParameter("", ado::adDecimal, ado::adParamInput, 16, ado::decimalOf(value));
    parameter->setPrecision(22);
    parameter->setNumericScale(0);
    command->parameters()->append(parameter);
}

void EngineTest::addText(const ado::Ref<ado::Command>& command, const std::string& value) {
    add(command, ado::adBSTR, static_cast<std::int32_t>(value.size()), value);
}

void EngineTest::addBytes(const ado::Ref<ado::Command>& command, const ado::Bytes& value) {
    const auto parameter = command->createParameter("", ado::adLongVarBinary, ado::adParamInput,
                                                    static_cast<std::int32_t>(value.size()), ado::Missing{});
    parameter->appendChunk(value);
    command->parameters()->append(parameter);
}

void EngineTest::clear(const ado::Ref<ado::Command>& command) {
    for (std::int32_t index = command->parameters()->count() - 1; index >= 0; --index) {
        command->parameters()->remove(index);
    }
}

Failure EngineTest::failureOf(const ado::Ref<ado::Connection>& on, const std::function<void()>& body) {
    Failure failure;
    try {
        body();
        return failure;
    } catch (const platform::ComError& error) {
        failure.status = error.hresult();
        failure.text = error.description();
    }
    const auto errors = on ? on->errors() : nullptr;
    for (std::int32_t index = 0; errors && index < errors->count(); ++index) {
        failure.states.push_back(errors->item(index)->sqlState());
    }
    if (!failure.states.empty()) {
        failure.native = errors->item(0)->nativeError();
        failure.text = errors->item(0)->description();
    }
    return failure;
}

} // namespace orvel::tests
