// Elimination: each equation is kept by its first unknown, after those that begin there have been added to it. So from the
// last unknown to the first one each is either free or follows from later ones.
#include "ParitySystem.h"

#include <bit>

namespace TARN_KEL {

void ParitySystem::Row::add(const Row& other) {
    for (std::size_t i = 0; i < vBits.size(); ++i)
        vBits[i] ^= other.vBits[i];
    bOdd = bOdd != other.bOdd;
}

bool ParitySystem::Row::meetsOddly(const Row& other) const {
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < vBits.size(); ++i)
        sum ^= vBits[i] & other.vBits[i];
    return std::popcount(sum) % 2 != 0;
}

std::size_t ParitySystem::Row::first(std::size_t num) const {
    for (std::size_t i = 0; i < vBits.size(); ++i)
        if (vBits[i] != 0) return 64 * i + static_cast<std::size_t>(std::countr_zero(vBits[i]));
    return num;
}

ParitySystem::ParitySystem(std::size_t num) : numUnknowns(num), vRow(num) {}

bool ParitySystem::add(const std::vector<Unknown>& vUnknown, bool bOdd) {
    Row row = emptyRow();
    row.bOdd = bOdd;
    for (const Unknown unknown : vUnknown)
        row.flip(unknown);
    for (;;) {
        const std::size_t first = row.first(numUnknowns);
        if (first == numUnknowns) return !row.bOdd;
        if (!vRow[first]) {
            vRow[first] = std::move(row);
            return true;
        }
        row.add(*vRow[first]);
    }
}

void ParitySystem::complete(Row& values, bool bHomogeneous) const {
    for (std::size_t i = numUnknowns; i-- > 0;)
        if (vRow[i] && vRow[i]->meetsOddly(values) != (vRow[i]->bOdd && !bHomogeneous)) values.flip(i);
}

std::vector<bool> ParitySystem::solve(const std::vector<std::size_t>& vCost) const {
    Row values = emptyRow();
    complete(values, false);
    std::vector<std::vector<Unknown>> vvExchange;  // what changes with each free unknown
    for (std::size_t free = 0; free < numUnknowns; ++free) {
        if (vRow[free]) continue;
        Row exchange = emptyRow();
        exchange.flip(free);
        complete(exchange, true);
        std::vector<Unknown>& vChanged = vvExchange.emplace_back();
        for (std::size_t i = 0; i < numUnknowns; ++i)
            if (exchange.has(i)) vChanged.push_back(static_cast<Unknown>(i));
    }
    for (bool bBetter = true; bBetter;) {
        bBetter = false;
        for (const std::vector<Unknown>& vChanged : vvExchange) {
            std::size_t saved = 0, spent = 0;
            for (const Unknown i : vChanged)
                (values.has(i) ? saved : spent) += vCost[i];
            if (spent >= saved) continue;
            for (const Unknown i : vChanged)
                values.flip(i);
            bBetter = true;
        }
    }
    std::vector<bool> vbOne(numUnknowns);
    for (std::size_t i = 0; i < numUnknowns; ++i)
        vbOne[i] = values.has(i);
    return vbOne;
}

}  // namespace TARN_KEL
