#include "QD_OrvelException.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <new>

struct QD_OrvelExceptionData {
    QD_OrvelError errorCode = QD_ORVEL_NO_ERROR;
    // 32 bits whatever `unsigned long` has here: a code that travelled through a signed int arrives with its upper
    // half filled and must print the same.
    std::uint32_t provErrorCode = 0;
    std::uint32_t hrErrorCode = 0;
    const char* errorString = ""; // always a text of `errorText`
    std::string provErrorString;
    std::string message;
    std::string trace;
};

namespace {

constexpr const char* constructorName = "QD_OrvelException::QD_OrvelException";
constexpr std::size_t reservedTrace = 480; // some ten frames behind the constructor's name

/// Records for the moment when the heap has nothing left. Their texts have their room from the start.
class RecordReserve {
public:
    RecordReserve() {
        for (Entry& entry : entries) {
            entry.record.trace.reserve(reservedTrace);
        }
    }

    QD_OrvelExceptionData* take() noexcept {
        const auto free = std::find_if(entries.begin(), entries.end(), [](Entry& entry) {
            return !entry.taken.exchange(true, std::memory_order_acquire);
        });
        if (free == entries.end()) {
            return nullptr;
        }
        free->record.errorCode = QD_ORVEL_ERR_OUT_OF_MEMORY;
        free->record.errorString = errorText(QD_ORVEL_ERR_OUT_OF_MEMORY);
        free->record.trace.assign(constructorName);
        return &free->record;
    }

    bool giveBack(const QD_OrvelExceptionData* record) noexcept {
        const auto owner = std::find_if(entries.begin(), entries.end(),
                                        [record](const Entry& entry) { return &entry.record == record; });
        if (owner == entries.end()) {
            return false;
        }
        owner->record.provErrorCode = owner->record.hrErrorCode = 0;
        owner->record.provErrorString.clear();
        owner->record.message.clear();
        owner->record.trace.clear();
        owner->taken.store(false, std::memory_order_release);
        return true;
    }

private:
    struct Entry {
        std::atomic<bool> taken = false;
        QD_OrvelExceptionData record;
    };
    std::array<Entry, QD_OrvelException::outOfMemoryReserve> entries;
};

/// Never destroyed: an exception may outlive the library's static objects.
RecordReserve& reserve() {
    static RecordReserve& instance = *new RecordReserve;
    return instance;
}

// The reserve must stand before memory runs out, not when it is first needed.
[[maybe_unused]] const RecordReserve& builtWhenLoaded = reserve();

struct RecordRelease {
    void operator()(QD_OrvelExceptionData* record) const noexcept {
        if (!reserve().giveBack(record)) {
            std::default_delete<QD_OrvelExceptionData>{}(record);
        }
    }
};
using OwnedRecord = std::unique_ptr<QD_OrvelExceptionData, RecordRelease>;

const char* orEmpty(const char* text) noexcept { return text != nullptr ? text : ""; }

} // namespace

QD_OrvelException::QD_OrvelException(QD_OrvelExceptionData* adopted) noexcept : data(adopted) {}

void QD_OrvelException::throwOutOfMemory() {
    QD_OrvelExceptionData* record = reserve().take();
    if (record == nullptr) {
        throw std::bad_alloc();
    }
    throw QD_OrvelException(record);
}

QD_OrvelException::QD_OrvelException(QD_OrvelError code, const char* function, unsigned long provErrorCode,
                                     const char* provErrorText, unsigned long hrErrorCode)
    : data(nullptr) {
    try {
        OwnedRecord record(new QD_OrvelExceptionData);
        record->errorCode = code;
        record->errorString = errorText(code);
        record->provErrorCode = static_cast<std::uint32_t>(provErrorCode);
        record->hrErrorCode = static_cast<std::uint32_t>(hrErrorCode);
        record->provErrorString = orEmpty(provErrorText);
        record->trace = orEmpty(function);
        data = record.release();
    } catch (const std::bad_alloc&) {
        throwOutOfMemory();
    }
}

QD_OrvelException::QD_OrvelException(const QD_OrvelException& other) : data(nullptr) {
    try {
        data = new QD_OrvelExceptionData(*other.data);
    } catch (const std::bad_alloc&) {
        throwOutOfMemory();
    }
}

const QD_OrvelException& QD_OrvelException::operator=(const QD_OrvelException& other) {
    QD_OrvelException copy(other); // all that can fail, before anything changes
    std::swap(data, copy.data);
    return *this;
}

QD_OrvelException::~QD_OrvelException() { RecordRelease{}(data); }

QD_OrvelError QD_OrvelException::errorCode() const { return data->errorCode; }

const char* QD_OrvelException::errorString() const { return data->provErrorString.c_str(); }

unsigned long QD_OrvelException::provErrorCode() const { return data->provErrorCode; }

const char* QD_OrvelException::provErrorString() const { return data->provErrorString.c_str(); }

unsigned long QD_OrvelException::hrErrorCode() const { return data->hrErrorCode; }

void QD_OrvelException::addFunction(const char* function) {
    if (function == nullptr) {
        return;
    }
    // A frame calls this while the exception is in flight: to lose a name is better than to lose the exception.
    const std::size_t before = data->trace.size();
    try {
        data->trace.append(" <- ").append(function);
    } catch (const std::bad_alloc&) {
        data->trace.resize(before);
    }
}

void QD_OrvelException::stackTrace(std::string& trace) const { trace = data->trace; }

const char* QD_OrvelException::errorMessage() {
    if (data->message.empty()) {
        try {
            formatMessage();
        } catch (const std::bad_alloc&) {
            return data->errorString;
        }
    }
    return data->message.c_str();
}

void QD_OrvelException::setErrorCode(QD_OrvelError code) {
    data->errorCode = code;
    data->errorString = errorText(code);
}

void QD_OrvelException::formatMessage() {
    std::string text("Orvel: ");
    text.append(data->errorString).append(". (").append(std::to_string(static_cast<int>(data->errorCode)));
    text.append("), Provider: ").append(data->provErrorString);
    text.append(" (").append(std::to_string(data->provErrorCode)).append("), hr: ");
    text.append(std::to_string(data->hrErrorCode)).append(", Trace: ").append(data->trace);
    data->message = std::move(text);
}
