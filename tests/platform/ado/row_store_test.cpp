#include "platform/ado/row_store.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using orvel::platform::ado::RowStore;

TEST(RowStore, givesRowsBackInTheirOrderFromMemoryAndFromItsFile) {
    for (const int rows : {0, 1, 1000, 200000}) { // the last of them beyond what is kept in memory
        RowStore store;
        const std::string filling(500, 'f');
        for (int row = 0; row < rows; ++row) {
            const std::string number = std::to_string(row);
            const auto part = std::string_view(filling).substr(0, static_cast<std::size_t>(row % 500));
            store.beginRow(4, number.size() + part.size());
            store.addValue(number);
            store.addNull();
            store.addValue("");
            store.addValue(part);
            store.endRow();
        }
        for (int row = 0; row < rows; ++row) {
            ASSERT_TRUE(store.next(4)) << row << " of " << rows;
            ASSERT_EQ(store.value(0), std::to_string(row));
            ASSERT_EQ(store.value(1).data(), nullptr) << "NULL";
            ASSERT_TRUE(store.value(2).empty() && store.value(2).data() != nullptr) << "empty, but not NULL";
            ASSERT_EQ(store.value(3).size(), static_cast<std::size_t>(row % 500));
        }
        EXPECT_FALSE(store.next(4)) << rows;
    }
}

} // namespace
