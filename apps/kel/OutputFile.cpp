#include "OutputFile.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace fs = std::filesystem;

namespace {

/// An empty folder that is the current one and exists for as long as the object lives.
class TemporaryWorkplace {
public:
    TemporaryWorkplace() : former(open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        std::error_code none;
        const fs::path parent = fs::temp_directory_path(none);
        folder = ((none ? fs::path("/tmp") : parent) / "kel-XXXXXX").string();
        bMade = former >= 0 && mkdtemp(folder.data()) != nullptr;
        if (bMade && chdir(folder.c_str()) == 0) return;
        leave();
        throw std::runtime_error(former < 0
                                     ? "The current folder can't be opened"
                                     : "No temporary folder can be made in " + fs::path(folder).parent_path().string());
    }
    ~TemporaryWorkplace() { leave(); }
    TemporaryWorkplace(const TemporaryWorkplace&) = delete;
    TemporaryWorkplace& operator=(const TemporaryWorkplace&) = delete;

private:
    void leave() {
        if (former >= 0 && fchdir(former) != 0) std::perror("kel: fchdir");  // it was the current one a moment ago
        if (former >= 0) close(former);
        std::error_code failure;
        if (bMade) fs::remove_all(folder, failure);
    }

    const int former;  // descriptor of the folder to go back to: it may have no name any more
    std::string folder;
    bool bMade = false;
};

std::string readText(const std::string& filename) {
    std::ifstream in(filename, std::ios_base::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// The brace of the list itself closes last, so a list that was cut short anywhere has one too few.
bool isWholeList(const std::string& text) {
    const auto numOpen = std::count(text.begin(), text.end(), '{');
    return numOpen > 0 && numOpen == std::count(text.begin(), text.end(), '}');
}

}  // namespace

bool writeText(const std::string& givenName, const std::string& text) {
    std::error_code none;
    const fs::path target = fs::weakly_canonical(givenName, none);  // a link stays, its target is replaced
    const std::string filename = none ? givenName : target.string();
    const fs::file_status former = fs::status(filename);
    const bool bInPlace = fs::exists(former) && !fs::is_regular_file(former);
    const std::string fresh = fs::path(filename).replace_filename(".kel-" + std::to_string(getpid()) + ".tmp").string();
    std::FILE* const pFile = bInPlace ? std::fopen(filename.c_str(), "w") : std::fopen(fresh.c_str(), "wx");
    if (pFile == nullptr) return false;
    const bool bWritten = std::fwrite(text.data(), 1, text.size(), pFile) == text.size();
    const bool bDone = (std::fclose(pFile) == 0) && bWritten;
    if (bInPlace) return bDone;
    std::error_code failure;
    if (fs::exists(former)) fs::permissions(fresh, former.permissions(), failure);
    if (bDone && !failure) fs::rename(fresh, filename, failure);
    if (bDone && !failure) return true;
    fs::remove(fresh, failure);
    return false;
}

bool writeDrawing(const std::string& filename, const std::function<bool()>& draw) {
    std::string text;
    {
        const TemporaryWorkplace workplace;
        if (!draw()) return false;
        text = readText(DRAWING);
    }
    return isWholeList(text) && writeText(filename, text);
}
