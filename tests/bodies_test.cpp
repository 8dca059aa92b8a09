// The bodies of the fuzzers on a small corpus: hostile meshes and clouds.
#include "support/bodies.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

using Corpus = std::vector<std::string>;

std::string text(std::initializer_list<int> bytes) {
    std::string out;
    for (const int byte : bytes)
        out += static_cast<char>(byte);
    return out;
}

/// Random bytes, most of them on the lattice.
std::string random(unsigned seed, std::size_t length, unsigned percentHard) {
    std::mt19937 engine(seed);
    std::string out;
    for (std::size_t i = 0; i < length; ++i)
        out += static_cast<char>(engine() % 100 < percentHard ? 0xf0 + engine() % 16 : engine() % 0xf0);
    return out;
}

/// Two tetrahedra on one vertex, on one edge, on one face, and twice the same one: vertices 0 to 7, of few places.
std::string tetrahedra(int numShared) {
    std::string out = text({5});  // 8 vertices
    for (const auto& p : {text({0, 0, 0}), text({4, 0, 0}), text({0, 4, 0}), text({0, 0, 4}), text({4, 4, 4}),
                          text({4, 4, 0}), text({0, 4, 4}), text({4, 0, 4})})
        out += p;
    using Corners = std::array<int, 4>;
    constexpr Corners FIRST{0, 1, 2, 3}, SECOND[] = {{4, 5, 6, 7}, {0, 4, 5, 6}, {0, 1, 4, 5}, {0, 1, 2, 4}, {0, 1, 2, 3}};
    for (const auto& [a, b, c, d] : {FIRST, SECOND[numShared]})
        out += text({a, b, c, a, d, b, b, d, c, c, d, a});
    return out;
}

Corpus corpus() {
    Corpus vInput = {"", text({0}), text({255, 255, 255}), std::string(300, '\0'), std::string(300, '\x01')};
    for (int numShared = 0; numShared <= 4; ++numShared)
        vInput.push_back(tetrahedra(numShared));
    std::string fan = text({33});  // one hub, all others at few places around it
    for (int i = 0; i < 36; ++i)
        fan += text({i % 16, i * i % 16, i == 0 ? 8 : 0});
    for (int i = 1; i + 1 < 36; ++i)
        fan += text({0, i, i + 1});
    vInput.push_back(fan);
    for (unsigned seed = 0; seed < 60; ++seed)
        vInput.push_back(random(seed, 40 + 11 * seed, seed % 3 * 10));
    return vInput;
}

}  // namespace

TEST(bodies, promisesHoldOnHostileBytes) {
    const CoutSilence silence;
    for (const Body& body : BODIES) {
        const Corpus vInput = corpus();
        for (std::size_t i = 0; i < vInput.size(); ++i)
            EXPECT_EQ(body.check(vInput[i]), "") << body.name << ", input " << i;
    }
}
