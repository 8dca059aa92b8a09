// A folder for the files of one test, and whole files as strings.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace TARN_TEST {

/// Exists while the object lives, with all that is in it.
class TempFolder {
public:
    TempFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "kel-test-XXXXXX").string();
        folder = ::mkdtemp(name.data()) != nullptr ? name : std::string();
    }
    ~TempFolder() { std::filesystem::remove_all(folder); }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    std::string path(const std::string& name) const { return (folder / name).string(); }
    /// Returns the path of the file. Makes it anew: some file systems wait for the disk when a file is truncated.
    std::string write(const std::string& name, const std::string& bytes) const {
        std::filesystem::remove(path(name));
        std::ofstream(path(name), std::ios_base::binary) << bytes;
        return path(name);
    }
    std::string read(const std::string& name) const {
        std::ifstream in(path(name), std::ios_base::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    std::size_t numFiles() const {
        using Iterator = std::filesystem::directory_iterator;
        return static_cast<std::size_t>(std::distance(Iterator(folder), Iterator()));
    }

private:
    std::filesystem::path folder;
};

/// A folder that is the working folder, too, while the object lives.
class WorkingFolder : public TempFolder {
public:
    WorkingFolder() : before(std::filesystem::current_path()) { std::filesystem::current_path(path("")); }
    ~WorkingFolder() { std::filesystem::current_path(before); }

private:
    std::filesystem::path before;
};

}  // namespace TARN_TEST
