#include "QD_OrvelHandle.h"

#include <gtest/gtest.h>

namespace {

int alive = 0;

class Counted : public QD_OrvelHandableClass {
public:
    Counted() { ++alive; }
    Counted(const Counted& other) : QD_OrvelHandableClass(other) { ++alive; }
    Counted& operator=(const Counted&) = delete;
    ~Counted() override { --alive; }

    QD_OrvelTypedHandle<Counted> next;
};
using Handle = QD_OrvelTypedHandle<Counted>;

TEST(Handle, theLastOneToGoDeletesTheObjectHoweverTheyWereMade) {
    auto* object = new Counted;
    Handle first(object);
    Handle second(object); // of the pointer, not of the first handle
    {
        Handle third(first);
        third.release();
        third.release(); // drops nothing more, nor does its end
        EXPECT_TRUE(third.isNull());
        const Handle empty;
        EXPECT_FALSE(Handle(empty).isValid());
    }
    first.release();
    EXPECT_EQ(alive, 1);
    EXPECT_TRUE(second.isValid());
    const Handle twin(new Counted(*object)); // a copy of the object that no handle knows yet
    second.release();
    EXPECT_EQ(alive, 1);
}

TEST(Handle, assignmentKeepsEveryCountRight) {
    {
        Handle target(new Counted);
        const Handle source(new Counted);
        target = source;
        EXPECT_EQ(alive, 1);
        target = *&target;
        EXPECT_EQ(target.get(), source.get());
        target = Handle();
        EXPECT_EQ(alive, 1);
        Handle only(new Counted);
        only = *&only;
        only->next = Handle(new Counted);
        only = only->next; // the source lives in the object that goes
        EXPECT_EQ(alive, 2);
    }
    EXPECT_EQ(alive, 0);
}

static_assert(sizeof(Handle) == 2 * sizeof(void*));

} // namespace
