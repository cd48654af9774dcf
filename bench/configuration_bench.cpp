// What a configuration file costs by the number of its table templates.

#include <orvel/QD_OrvelConfig.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <string>

namespace {

const std::string tableTemplate = R"(
        <CreateTable>CREATE TABLE $(tableName) (id INTEGER PRIMARY KEY, name TEXT, value DOUBLE, data BLOB);
          CREATE INDEX ix_$(tableName) ON $(tableName)(name);</CreateTable>
        <SetupTable>INSERT INTO $(tableName) VALUES (1, 'a', 1.0, NULL);</SetupTable>
        <AlterTable1>ALTER TABLE $(tableName) ADD COLUMN more TEXT;</AlterTable1>
)";

std::string element(const std::string& name, const std::string& content) {
    return "<" + name + ">" + content + "</" + name + ">\n";
}

/// Many templates for SQLite, and behind them an engine with one.
std::string configuration(int templates) {
    std::string tables;
    for (int i = 0; i < templates; ++i) {
        tables += element("T" + std::to_string(i), tableTemplate);
    }
    return element(
        "Orvel", element("MajorVersion", "0") + element("MinorVersion", "2") +
                     element("CommonSection", element("DefaultTimeout", "5000")) +
                     element("DatabaseSection",
                             element("SQLite", element("TableTemplates", tables)) +
                                 element("Other", element("TableTemplates", element("T0", tableTemplate)))));
}

/// Microseconds of one call, the best of several rounds of them.
template <class Call>
double microseconds(int calls, Call call) {
    double best = 1e30;
    for (int round = 0; round < 5; ++round) {
        const auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < calls; ++i) {
            call();
        }
        const std::chrono::duration<double, std::micro> all = std::chrono::steady_clock::now() - start;
        best = std::min(best, all.count() / calls);
    }
    return best;
}

double lookupTime(QD_OrvelConfig& config, const char* key, const std::string& table, int calls = 1000) {
    std::string text;
    return microseconds(calls,
                        [&] { config.getDBTableCommand(key, table.c_str(), "CreateTable", text, true); });
}

void measure(const std::string& file, int templates) {
    const std::string content = configuration(templates);
    std::ofstream(file, std::ios::trunc) << content;
    const auto readTimeout = [&file] {
        int timeout = 0;
        QD_OrvelConfig(file.c_str()).getDefaultTimeout(timeout);
    };
    const double load = microseconds(1, [&] {
        QD_OrvelConfig::flushCache();
        readTimeout();
    });
    const double cached = microseconds(1000, readTimeout);
    QD_OrvelConfig config(file.c_str());
    const std::string last = "T" + std::to_string(templates - 1);
    std::printf(" %9d %11.2f %11.2f %14.0f %14.2f %14.2f %14.2f %10zu\n", templates,
                lookupTime(config, "SQLite", "T0"), lookupTime(config, "SQLite", last), load, cached,
                lookupTime(config, "Other", "T0"), lookupTime(config, "Other", "*", 20), content.size());
}

} // namespace

int main() {
    const std::filesystem::path file =
        std::filesystem::temp_directory_path() / "orvel-configuration-bench.xml";
    std::printf("# Microseconds of: lookups of the first table and of the last one, the first load, an "
                "object made from the\n"
                "# cache with its first lookup, lookups of another engine's table and of one by an XPath "
                "expression.\n"
                "#templates       first        last     first load     from cache   other engine     "
                "expression      bytes\n");
    for (const int templates : {10, 100, 1000, 10'000, 100'000}) {
        measure(file.string(), templates);
    }
    std::filesystem::remove(file);
}
