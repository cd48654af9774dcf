#ifndef QD_ORVEL_HANDLE_H
#define QD_ORVEL_HANDLE_H

#include "QD_OrvelExport.h"

/// Base of everything that handles share: connections, commands, queries. The count lives in the object, so
/// any number of handles may be built independently from the same pointer and share it.
///
/// The count is a plain number: an object and all handles to it are used by one thread at a time. An object
/// between `new` and its first handle has count 0; only objects from `new` may ever be given to a handle.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): handles alone delete, through this base
class QD_ORVEL_EXPORT QD_OrvelHandableClass {
protected:
    QD_OrvelHandableClass() = default;
    /// The copy is a new object that no handle knows yet.
    QD_OrvelHandableClass(const QD_OrvelHandableClass&) {}
    QD_OrvelHandableClass& operator=(const QD_OrvelHandableClass&) { return *this; }
    virtual ~QD_OrvelHandableClass();

private:
    friend class QD_OrvelHandle;

    int handleCount = 0;

    void createHandle() { ++handleCount; }
    void destroyHandle() { --handleCount; }
    bool exactlyOneHandle() const { return handleCount == 1; }
    bool noMoreHandles() const { return handleCount == 0; }
};

/// A counted reference to an object, or empty. The last handle to go deletes the object.
///
/// Handles never throw and never check what they designate. A copy costs one addition; there are no moves.
class QD_ORVEL_EXPORT QD_OrvelHandle {
public:
    /// @param designated  an object from `new`, or null for an empty handle
    explicit QD_OrvelHandle(QD_OrvelHandableClass* designated = nullptr) : object(designated) {
        if (object != nullptr) {
            object->createHandle();
        }
    }

    QD_OrvelHandle(const QD_OrvelHandle& other) : QD_OrvelHandle(other.object) {}

    /// Takes the new reference before it drops the old one: the source may live inside the object that goes.
    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): the order of the two references handles it
    QD_OrvelHandle& operator=(const QD_OrvelHandle& other) {
        QD_OrvelHandableClass* const designated = other.object;
        if (designated != nullptr) {
            designated->createHandle();
        }
        release();
        object = designated;
        return *this;
    }

    virtual ~QD_OrvelHandle() { release(); }

    /// Drops the reference, which deletes the object when it was the last one. Harmless on an empty handle.
    void release() {
        QD_OrvelHandableClass* const designated = object;
        object = nullptr; // first: the object's destruction may come back to this handle
        if (designated == nullptr) {
            return;
        }
        // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete): the analyser loses count of the references
        designated->destroyHandle();
        if (designated->noMoreHandles()) {
            delete designated;
        }
    }

    /// The object; null for an empty handle, through which access is the caller's fault.
    // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete): the analyser loses count of the references
    QD_OrvelHandableClass* get() const { return object; }
    QD_OrvelHandableClass* operator->() const { return get(); }

    bool isValid() const { return object != nullptr; }
    bool isNull() const { return object == nullptr; }

private:
    QD_OrvelHandableClass* object;
};

/// What the typed handle classes have in common: access to the object by its own type.
template <class Designated>
class QD_OrvelTypedHandle : public QD_OrvelHandle {
public:
    explicit QD_OrvelTypedHandle(Designated* target = nullptr) : QD_OrvelHandle(target) {}

    Designated* get() const { return static_cast<Designated*>(QD_OrvelHandle::get()); }
    Designated* operator->() const { return get(); }
};

#endif
