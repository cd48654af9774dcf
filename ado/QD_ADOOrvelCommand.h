#ifndef QD_ADOORVEL_COMMAND_H
#define QD_ADOORVEL_COMMAND_H

#include <memory>
#include <string>

#include "QD_OrvelCommand.h"

namespace orvel::platform::ado {
class Command;
class Connection;
class Parameter;
} // namespace orvel::platform::ado

/// A command on a client/server engine; see QD_OrvelCommand for what every command promises.
///
/// What is wrong with its text shows when it is run. It can be run again after a failure. 64-bit integers are
/// declared as decimals and travel as the whole numbers that they are. It needs one parameter for each marker, and
/// takes no more than 32767: anything else is an error when it is run, with status 0x800A0E7C when there are too
/// many. Once its connection or the command itself is closed, every operation fails with its own code.
class QD_ORVEL_EXPORT QD_ADOOrvelCommand : public QD_OrvelCommand {
public:
    /// @param attached        a command that knows its connection
    /// @param text            null counts as empty
    /// @param commandOptions  kept, not used
    /// @throws QD_OrvelException  28
    QD_ADOOrvelCommand(const std::shared_ptr<orvel::platform::ado::Command>& attached, const char* text,
                       unsigned int commandOptions);
    QD_ADOOrvelCommand(const QD_ADOOrvelCommand&) = delete;
    QD_ADOOrvelCommand& operator=(const QD_ADOOrvelCommand&) = delete;
    ~QD_ADOOrvelCommand() override;

    /// @return what the engine counts as changed, 0 when it does not count
    /// @throws QD_OrvelException  31 busy, 13 anything else
    int execNoQuery(unsigned int flags) override;

    /// The query stands on its first row and is read like any other. Errors as `execNoQuery`.
    QD_OrvelQueryHandle execQuery(unsigned int flags) override;

    /// These throw 27 when the engine's parameter cannot be made.
    void addStringParam(const char* text) override;
    void addIntParam(int value) override;
    void addInt64Param(long long value) override;
    void addDoubleParam(double value) override;

    /// @param length  in bytes; 0 adds NULL, below 0 is an error
    void addBlobParam(const unsigned char* data, int length) override;
    void addEmptyParam(QD_OrvelDataKind kind) override;
    void resetParams() override;
    void close() override;

protected:
    bool isValid() const;

    /// The connection the command is attached to; null when there is none.
    std::shared_ptr<orvel::platform::ado::Connection> getActiveConnection() const;

private:
    std::shared_ptr<orvel::platform::ado::Command> command;
    std::string commandText;
    unsigned int options;
};

#endif
