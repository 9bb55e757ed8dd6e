// The target list over databases and session tables of growing size: the time is to grow with targets plus
// sessions. Runs in the simulated host, where it makes them.
#include <benchmark/benchmark.h>

#include <string>

#include "kvlinopinitr/open_initiator_functions.h"
#include "tests/support/host.h"

namespace {

constexpr int portals = 8;
constexpr const char* database = "/var/lib/iscsi/";

std::string target_name(int number) {
    return "iqn.2024-01.example.array:disk" + std::to_string(number);
}

std::string portal_address(int target) {
    return "10.1.1." + std::to_string(1 + target % portals);
}

/// As open-iscsi leaves it: a node record per target, and a link to it under the portal it was found at.
void record_target(int number) {
    const std::string address = portal_address(number);
    const std::string node = "nodes/" + target_name(number) + "/" + address + ",3260,1";
    host::write_file(database + node + "/default", "# BEGIN RECORD\nnode.name = " + target_name(number) +
                                                       "\nnode.tpgt = 1\nnode.startup = automatic\n");
    host::make_link(database + ("send_targets/" + address) + ",3260/" + target_name(number) + "," + address +
                        ",3260,1,default",
                    database + node);
}

void make_host(int targets, int sessions) {
    for (const char* path : {database, "/sys/class/iscsi_session", "/sys/class/iscsi_connection"}) {
        host::remove(path);
    }
    for (int number = 0; number < targets; ++number) record_target(number);
    for (int number = 0; number < sessions; ++number) {
        host::add_session({.number = number,
                           .target = target_name(number),
                           .scsi_host = number,
                           .address = portal_address(number)});
    }
}

/// Number of targets that are logged in, or -1.
int list_targets() {
    _TargetInformation* list = nullptr;
    if (_GetTargetList(&list, 1) != 0) return -1;
    int logged_in = 0;
    for (const _TargetInformation* target = list; target != nullptr; target = next_record(target)) {
        logged_in += target->logged_in;
    }
    FreeTargetList(list);
    return logged_in;
}

void target_list(benchmark::State& state) {
    const int targets = static_cast<int>(state.range(0)), sessions = static_cast<int>(state.range(1));
    make_host(targets, sessions);
    for (auto _ : state) {
        if (list_targets() != sessions) state.SkipWithError("a session was missed");
    }
    state.SetComplexityN(targets + sessions);
    state.counters["each"] =
        benchmark::Counter(static_cast<double>(targets + sessions),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

BENCHMARK(target_list)
    ->ArgNames({"targets", "sessions"})
    ->Args({125, 16})
    ->Args({250, 32})
    ->Args({500, 64})
    ->Args({1000, 128})
    ->Args({2000, 256})
    ->Args({4000, 256})
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oAuto);

}  // namespace

BENCHMARK_MAIN();
