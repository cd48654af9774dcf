#include "QD_OrvelHandle.h"

#include <gtest/gtest.h>

namespace {

class Counted : public QD_OrvelHandableClass {
public:
    explicit Counted(int& alive) : objects(alive) { ++objects; }
    Counted(const Counted& other) : QD_OrvelHandableClass(other), objects(other.objects) { ++objects; }
    Counted& operator=(const Counted&) = delete;
    ~Counted() override { --objects; }

    QD_OrvelTypedHandle<Counted> next;

private:
    int& objects;
};
using Handle = QD_OrvelTypedHandle<Counted>;

TEST(Handle, handlesBuiltSeparatelyFromOnePointerShareOneCount) {
    int alive = 0;
    auto* object = new Counted(alive);
    Handle first(object);
    Handle second(object);
    first.release();
    EXPECT_EQ(alive, 1);
    EXPECT_TRUE(second.isValid());
    second.release();
    EXPECT_EQ(alive, 0);
}

TEST(Handle, anEmptyHandleSaysSoAndEndsQuietly) {
    Handle empty;
    EXPECT_TRUE(empty.isNull());
    EXPECT_FALSE(empty.isValid());
    EXPECT_EQ(empty.get(), nullptr);
    const Handle copy(empty);
    empty = copy;
    EXPECT_TRUE(empty.isNull());
}

TEST(Handle, releasingTwiceDropsOneReference) {
    int alive = 0;
    Handle kept(new Counted(alive));
    {
        Handle other(kept);
        other.release();
        other.release();
        EXPECT_TRUE(other.isNull());
    }
    EXPECT_EQ(alive, 1);
}

TEST(Handle, assignmentKeepsBothCountsRight) {
    int alive = 0;
    Handle target(new Counted(alive));
    const Handle source(new Counted(alive));
    target = source;
    EXPECT_EQ(alive, 1);
    EXPECT_EQ(target.get(), source.get());
    target = *&target;
    EXPECT_EQ(alive, 1);

    Handle only(new Counted(alive));
    only = *&only;
    EXPECT_EQ(alive, 2);
}

TEST(Handle, theSourceOfAnAssignmentMayLiveInTheObjectThatGoes) {
    int alive = 0;
    Handle head(new Counted(alive));
    head->next = Handle(new Counted(alive));
    head = head->next;
    EXPECT_EQ(alive, 1);
    EXPECT_TRUE(head->next.isNull());
}

TEST(Handle, aCopiedObjectStartsWithoutHandles) {
    int alive = 0;
    const Handle original(new Counted(alive));
    const Handle twin(new Counted(*original.get()));
    EXPECT_EQ(alive, 2);
}

static_assert(sizeof(Handle) == 2 * sizeof(void*));

} // namespace
