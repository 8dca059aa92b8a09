// Whole operations on the bytes that libFuzzer invents. Each program runs the body that KEL_FUZZ_BODY names; a promise that
// doesn't hold, like any exception, ends the program.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "support/bodies.h"

namespace {

constexpr TARN_TEST::Body chosenBody() {
    for (const TARN_TEST::Body& body : TARN_TEST::BODIES)
        if (body.name == KEL_FUZZ_BODY) return body;
    throw "no such body";  // reached by no program that compiles: the call below is a constant
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static constexpr TARN_TEST::Body BODY = chosenBody();
    const std::string broken = BODY.check(std::string_view(reinterpret_cast<const char*>(data), size));
    if (broken.empty()) return 0;
    std::fprintf(stderr, "broken promise: %s\n", broken.c_str());
    std::abort();
}
