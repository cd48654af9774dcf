// What one failed allocation, the XML parser's or the library's, leaves of a configuration.

#include <gmock/gmock.h>
#include <libxml/xmlmemory.h>

#include <array>
#include <cstring>

#include "QD_OrvelConfig.h"
#include "QD_OrvelException.h"
#include "tests/support/allocation_limit.h"
#include "tests/support/diagnostic_lines.h"
#include "tests/support/leaks.h"
#include "tests/support/temporary_directory.h"

namespace {

using namespace orvel::tests;

void* allocate(std::size_t size) { return mayAllocate() ? std::malloc(size) : nullptr; }
void* reallocate(void* memory, std::size_t size) {
    return mayAllocate() ? std::realloc(memory, size) : nullptr;
}
char* duplicate(const char* text) { return mayAllocate() ? ::strdup(text) : nullptr; }
[[maybe_unused]] const int replaced = xmlMemSetup(&std::free, &allocate, &reallocate, &duplicate);

const char* const content = R"(<?xml version='1.0' encoding='windows-1252'?>
<!DOCTYPE r [<!ENTITY f 'f&#38;lt;'><!ENTITY e 'e&f;'><!ENTITY x '<x>in</x>'><!ATTLIST r a CDATA '&f;'>]>
<r xmlns:p='p'><MajorVersion>0</MajorVersion><MinorVersion>2</MinorVersion><CommonSection>
<A>a&e;b</A><B><![CDATA[b]]><!-- c -->&x;</B><C>c1</C><C>c2</C></CommonSection></r>)";

constexpr std::array names = {"A", "B", "Absent", " A", "C[2]", "*[.='c2']", "B|A", "C[last()]", "B/x"};

/// The values of names and of paths; "error" where a lookup fails. All are short: nothing here allocates.
auto valuesOf(QD_OrvelConfig& config) {
    std::array<std::string, names.size()> values;
    for (std::size_t i = 0; i < names.size(); ++i) {
        try {
            config.getCommonDefault(names[i], values[i]);
        } catch (const QD_OrvelException&) {
            values[i] = "error";
        }
    }
    return values;
}

TEST(ParserMemory, anAllocationThatFailsGivesTheRightValueOrAnErrorAndIsForgotten) {
    const TemporaryDirectory directory;
    directory.write("file", content);
    QD_OrvelConfig first("file");
    const auto right = valuesOf(first);
    ASSERT_EQ(right.front(), "aef<b");
    long allowed = 0;
    const Silence failuresAreLogged;
    for (bool failed = true; failed; ++allowed) {
        QD_OrvelConfig::flushCache();
        QD_OrvelConfig config("file");
        std::array<std::string, names.size()> values;
        {
            const LeaksAllowed here; // the parser loses some of what it holds when an allocation fails
            const AllocationLimit limit(allowed, true);
            values = valuesOf(config);
        }
        failed = AllocationLimit::hasFailed();
        for (std::size_t i = 0; i < right.size(); ++i) {
            EXPECT_THAT(values[i], testing::AnyOf(right[i], "error")) << "with " << allowed << " allocations";
        }
        QD_OrvelConfig next("file");
        EXPECT_EQ(valuesOf(config), right) << allowed;
        EXPECT_EQ(valuesOf(next), right) << allowed;
    }
    EXPECT_GT(allowed, 500);
    QD_OrvelConfig::flushCache();
}

} // namespace
