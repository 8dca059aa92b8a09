// What the fuzzers share.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

/// Ends the program, which is a finding, when a promise doesn't hold.
inline void demand(bool bHolds, const char* promise) {
    if (bHolds) return;
    std::fprintf(stderr, "broken promise: %s\n", promise);
    std::abort();
}

/// The row of a table that a program stands for when it is called as folder/fuzz_NAME. Ends the program when there is none.
template <typename Table, typename Row>
const Row& chosenByName(const Table& table, std::string_view Row::*name, std::string_view call) {
    const std::size_t last = call.rfind("fuzz_");
    const std::string_view wanted = call.substr(last == std::string_view::npos ? call.size() : last + 5);
    const auto it = std::find_if(table.begin(), table.end(), [&](const Row& row) { return row.*name == wanted; });
    if (it != table.end()) return *it;
    std::fprintf(stderr, "%s: no fuzzer has that name\n", std::string(call).c_str());
    std::exit(2);
}
