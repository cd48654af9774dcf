// Runs one workload, for a tool that counts what it costs:
//
//     orvel_workload_bench WORKLOAD TIMES

#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <string_view>

#include "workloads.h"

namespace {

volatile long long sink = 0;

bool ran(std::span<const bench::Workload> workloads, std::string_view name, int times) {
    for (const bench::Workload& workload : workloads) {
        if (name == workload.name) {
            workload.run(times);
            return true;
        }
    }
    return false;
}

} // namespace

void bench::use(long long value) { sink = sink + value; }

void bench::lookUp(QD_OrvelConnectionHandle& connection, const char* sql, int times) {
    const QD_OrvelTransaction transaction(connection, QD_ORVEL_TRANSACTION_DEFERRED, true, "lookup");
    const auto command = connection->createCommand(sql, 0);
    std::string name;
    for (int i = 0; i < times; ++i) {
        command->addIntParam(1 + i * 7 % scannedRows);
        const auto row = command->execQuery(0);
        long long serial = 0;
        double price = 0;
        row->getInt64Field(0, serial);
        row->getDoubleField(1, price);
        row->getStringField(2, name);
        use(serial);
        use(static_cast<long long>(price));
        use(name.back());
        command->resetParams();
    }
}

int main(int count, char** arguments) {
    try {
        const std::string_view name = count == 3 ? arguments[1] : "";
        const int times = count == 3 ? std::atoi(arguments[2]) : 0;
        if (times > 0 &&
            (ran(bench::sqliteWorkloads(), name, times) || ran(bench::odbcWorkloads(), name, times))) {
            return 0;
        }
        std::cerr << "usage: orvel_workload_bench WORKLOAD TIMES\n";
    } catch (const std::exception& error) {
        std::cerr << error.what() << "\n";
    }
    return 1;
}
