// Whole operations on the bytes that libFuzzer invents. The program has a name for each body; the one that it is called by
// says which to run. A promise that doesn't hold, like any exception, ends the program.
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzzing.h"
#include "support/bodies.h"

namespace {

const TARN_TEST::Body* pBody = nullptr;

}  // namespace

extern "C" int LLVMFuzzerInitialize(const int* /*argc*/, const char* const* const* argv) {
    pBody = &chosenByName(TARN_TEST::BODIES, &TARN_TEST::Body::name, **argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string broken = pBody->check(std::string_view(reinterpret_cast<const char*>(data), size));
    demand(broken.empty(), broken.c_str());
    return 0;
}
