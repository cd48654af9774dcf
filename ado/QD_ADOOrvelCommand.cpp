#include "QD_ADOOrvelCommand.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <stdexcept>
#include <utility>

#include "QD_ADOOrvelException.h"
#include "QD_ADOOrvelQuery.h"
#include "ado/ado_values.h"
#include "ado/com_error_translation.h"
#include "core/diagnostics.h"
#include "platform/ado/Command.h"
#include "platform/ado/constants.h"
#include "platform/ado/status.h"
#include "platform/text.h"

namespace ado = orvel::platform::ado;
namespace platform = orvel::platform;
using orvel::adoFramedOpaque;
using orvel::needed;

namespace {

constexpr std::uint8_t decimalPrecision = 22; // what a 64-bit integer is declared with

/// How a parameter without a value is declared.
struct EmptyParameter {
    std::int32_t type;
    std::int32_t size;
};

/// Null for a kind that is none.
const EmptyParameter* emptyParameter(QD_OrvelDataKind kind) {
    static constexpr EmptyParameter integer{ado::adInteger, 0};
    static constexpr EmptyParameter decimal{ado::adDecimal, 0};
    static constexpr EmptyParameter real{ado::adDouble, 0};
    static constexpr EmptyParameter text{ado::adBSTR, 1};
    static constexpr EmptyParameter blob{ado::adLongVarBinary, 1};
    switch (kind) {
    case QD_ORVEL_DATA_INT:
        return &integer;
    case QD_ORVEL_DATA_INT64:
        return &decimal;
    case QD_ORVEL_DATA_DOUBLE:
        return &real;
    case QD_ORVEL_DATA_STRING:
        return &text;
    case QD_ORVEL_DATA_BLOB:
        return &blob;
    }
    return nullptr;
}

ado::Ref<ado::Parameter> inputParameter(ado::Command& command, std::int32_t type, std::int32_t size,
                                        ado::Variant&& value) {
    auto parameter = command.createParameter("", type, ado::adParamInput, size, std::move(value));
    if (type == ado::adDecimal) {
        parameter->setPrecision(decimalPrecision);
        parameter->setNumericScale(0);
    }
    return parameter;
}

void appendInput(ado::Command& command, std::int32_t type, std::int32_t size, ado::Variant&& value) {
    command.parameters().append(inputParameter(command, type, size, std::move(value)));
}

/// What declares a text: its units of UTF-16.
std::int32_t sizeOf(const std::string& text) {
    const std::size_t units = platform::utf16Length(text);
    return std::in_range<std::int32_t>(units)
               ? std::max(1, static_cast<std::int32_t>(units))
               : throw platform::ComError(ado::adErrInvalidArgument, "The text is too long for a parameter.");
}

std::span<const std::byte> bytesOf(const unsigned char* data, int length) {
    return length > 0 ? std::as_bytes(std::span(data, static_cast<std::size_t>(length)))
                      : throw std::length_error("A blob has no negative length.");
}

} // namespace

QD_ADOOrvelCommand::QD_ADOOrvelCommand(const std::shared_ptr<ado::Command>& attached, const char* text,
                                       unsigned int commandOptions) try
    : command(attached), commandText(text != nullptr ? text : ""), options(commandOptions) {
    needed(command).setCommandText(platform::narrowToUtf8(commandText));
} catch (...) {
    // The members are gone by now, the argument is not.
    orvel::translateComError("QD_ADOOrvelCommand::QD_ADOOrvelCommand", QD_ORVEL_ERR_CREATE_COMMAND,
                             orvel::connectionOrNull(attached), orvel::Where::current().line());
}

QD_ADOOrvelCommand::~QD_ADOOrvelCommand() { QD_ADOOrvelCommand::close(); }

int QD_ADOOrvelCommand::execNoQuery(unsigned int /*flags*/) {
    return adoFramedOpaque({"QD_ADOOrvelCommand::execNoQuery", QD_ORVEL_ERR_SQL_STATEMENT}, command, [&] {
        ado::Variant affected;
        needed(command).execute(&affected, ado::adCmdText | ado::adExecuteNoRecords);
        return orvel::rowsAffected(affected);
    });
}

QD_OrvelQueryHandle QD_ADOOrvelCommand::execQuery(unsigned int /*flags*/) {
    return orvel::adoFramed({"QD_ADOOrvelCommand::execQuery", QD_ORVEL_ERR_SQL_STATEMENT}, command, [&] {
        orvel::traceSql(commandText.c_str());
        const auto rows = needed(command).execute(nullptr, ado::adCmdText);
        return QD_OrvelQueryHandle(new QD_ADOOrvelQuery(rows.shared()));
    });
}

void QD_ADOOrvelCommand::addStringParam(const char* text) {
    adoFramedOpaque({"QD_ADOOrvelCommand::addStringParam", QD_ORVEL_ERR_BIND_PARAMETER}, command, [&] {
        if (text == nullptr || *text == '\0') {
            addEmptyParam(QD_ORVEL_DATA_STRING);
            return;
        }
        std::string utf8 = platform::narrowToUtf8(text);
        const std::int32_t size = sizeOf(utf8);
        appendInput(needed(command), ado::adBSTR, size, std::move(utf8));
    });
}

void QD_ADOOrvelCommand::addIntParam(int value) {
    adoFramedOpaque({"QD_ADOOrvelCommand::addIntParam", QD_ORVEL_ERR_BIND_PARAMETER}, command,
                    [&] { appendInput(needed(command), ado::adInteger, 4, std::int64_t{value}); });
}

void QD_ADOOrvelCommand::addInt64Param(long long value) {
    adoFramedOpaque({"QD_ADOOrvelCommand::addInt64Param", QD_ORVEL_ERR_BIND_PARAMETER}, command,
                    [&] { appendInput(needed(command), ado::adDecimal, 16, ado::decimalOf(value)); });
}

void QD_ADOOrvelCommand::addDoubleParam(double value) {
    adoFramedOpaque({"QD_ADOOrvelCommand::addDoubleParam", QD_ORVEL_ERR_BIND_PARAMETER}, command,
                    [&] { appendInput(needed(command), ado::adDouble, 8, value); });
}

void QD_ADOOrvelCommand::addBlobParam(const unsigned char* data, int length) {
    adoFramedOpaque({"QD_ADOOrvelCommand::addBlobParam", QD_ORVEL_ERR_BIND_PARAMETER}, command, [&] {
        if (data == nullptr || length == 0) {
            addEmptyParam(QD_ORVEL_DATA_BLOB);
            return;
        }
        const std::span<const std::byte> bytes = bytesOf(data, length);
        ado::Command& target = needed(command);
        auto parameter = inputParameter(target, ado::adLongVarBinary, length, ado::Missing{});
        parameter->appendChunk(bytes);
        target.parameters().append(parameter);
    });
}

void QD_ADOOrvelCommand::addEmptyParam(QD_OrvelDataKind kind) {
    adoFramedOpaque({"QD_ADOOrvelCommand::addEmptyParam", QD_ORVEL_ERR_BIND_PARAMETER}, command, [&] {
        ado::Command& target = needed(command);
        const EmptyParameter* const declared = emptyParameter(kind);
        target.parameters().append(declared != nullptr
                                       ? inputParameter(target, declared->type, declared->size, ado::Empty{})
                                       : nullptr);
    });
}

void QD_ADOOrvelCommand::resetParams() {
    adoFramedOpaque({"QD_ADOOrvelCommand::resetParams", QD_ORVEL_ERR_BIND_PARAMETER}, command, [&] {
        ado::Parameters& parameters = needed(command).parameters();
        for (std::int32_t index = parameters.count() - 1; index >= 0; --index) {
            parameters.remove(index);
        }
    });
}

void QD_ADOOrvelCommand::close() {
    orvel::adoSwallowed("QD_ADOOrvelCommand::close", command, [&] { command.reset(); });
}

bool QD_ADOOrvelCommand::isValid() const { return command != nullptr; }

std::shared_ptr<ado::Connection> QD_ADOOrvelCommand::getActiveConnection() const {
    return orvel::activeConnectionOf(command);
}
