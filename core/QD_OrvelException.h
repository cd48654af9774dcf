#ifndef QD_ORVEL_EXCEPTION_H
#define QD_ORVEL_EXCEPTION_H

#include <string>

#include "QD_OrvelError.h"
#include "QD_OrvelExport.h"

struct QD_OrvelExceptionData;

/// The one exception family of the library: every failure reaches the application as this class or as one of
/// the provider classes derived from it. Thrown by value, caught by reference.
///
/// An exception belongs to the thread that caught it. It owns its texts; copies share nothing. The order of
/// the virtual operations is part of the interface.
class QD_ORVEL_EXPORT QD_OrvelException {
public:
    /// @param code           what failed
    /// @param function       qualified name of the function that raises it; begins the trace; null counts as empty
    /// @param provErrorCode  the engine's own code, 0 when there is none; the low 32 bits are kept
    /// @param provErrorText  the engine's own text in the narrow encoding, of any length; null counts as empty
    /// @param hrErrorCode    status code of the object layer, 0 when there is none; the low 32 bits are kept
    ///
    /// When memory is exhausted the constructor throws an exception with QD_ORVEL_ERR_OUT_OF_MEMORY and the
    /// trace "QD_OrvelException::QD_OrvelException" in place of the one asked for. A fixed reserve serves
    /// these; with more than `outOfMemoryReserve` of them alive at once, std::bad_alloc is thrown.
    QD_OrvelException(QD_OrvelError code, const char* function, unsigned long provErrorCode,
                      const char* provErrorText, unsigned long hrErrorCode);

    /// A deep copy; out of memory as above.
    QD_OrvelException(const QD_OrvelException& other);

    /// Copies every field; out of memory as above, the target then stays as it was.
    const QD_OrvelException& operator=(const QD_OrvelException& other);

    virtual ~QD_OrvelException();

    virtual QD_OrvelError errorCode() const;

    /// The engine's own text, the same as `provErrorString`, and deliberately so: the fixed message of the
    /// code is found in `errorMessage` and through `errorText`.
    ///
    /// The pointers of this and of `provErrorString` are valid until the exception is assigned to or ends.
    virtual const char* errorString() const;

    /// The engine's native code; 1 when the exception stands for a foreign one ("Runtime Exception").
    virtual unsigned long provErrorCode() const;

    /// The engine's own text in the narrow encoding; empty when there is none, never null.
    virtual const char* provErrorString() const;

    virtual unsigned long hrErrorCode() const;

    /// Appends " <- " and `function` to the trace; null changes nothing. Never throws: with memory exhausted
    /// the trace stays as it is.
    virtual void addFunction(const char* function);

    /// Replaces `trace` by the chain of functions the exception passed through, innermost first.
    virtual void stackTrace(std::string& trace) const;

    /// Everything in one line: "Orvel: <message>. (<code>), Provider: <text> (<code>), hr: <status>, Trace: <trace>".
    ///
    /// Formatted at the first call and kept: functions added later do not appear. The pointer is valid until
    /// the exception is assigned to or ends. With memory exhausted the fixed message alone.
    virtual const char* errorMessage();

    /// How many out-of-memory exceptions can be alive in the process when the heap has nothing left.
    static constexpr int outOfMemoryReserve = 32;

protected:
    /// Changes the code and its fixed message; a message already formatted stays.
    void setErrorCode(QD_OrvelError code);

    void formatMessage();

private:
    QD_OrvelExceptionData* data;

    explicit QD_OrvelException(QD_OrvelExceptionData* adopted) noexcept;
    [[noreturn]] static void throwOutOfMemory();
};

#endif
