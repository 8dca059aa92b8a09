// The fixture of tests that write files.
#pragma once

#include "support/TempFolder.h"
#include "support/prelude.h"

namespace TARN_TEST {

/// A silent test with a folder of its own.
struct FolderTest : SilentTest {
    const TempFolder folder;
};

}  // namespace TARN_TEST
