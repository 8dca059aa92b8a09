// Prints the seconds that std::sort takes on 10 million random 64-bit keys: the unit in which growth.sh gives times, so that
// figures of different and of noisy machines compare. The best of three.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <iostream>
#include <random>
#include <vector>

namespace {

double secondsOfOneSort() {
    std::mt19937_64 random(1);
    std::vector<std::uint64_t> vKey(10000000);
    std::generate(vKey.begin(), vKey.end(), random);
    const auto start = std::chrono::steady_clock::now();
    std::sort(vKey.begin(), vKey.end());
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

int main() {
    std::cout << std::min({secondsOfOneSort(), secondsOfOneSort(), secondsOfOneSort()}) << std::endl;
}
