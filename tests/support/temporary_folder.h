// A folder of its own for a test's files, gone when the test ends.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace zarn_test {

using byte_vector = std::vector<std::uint8_t>;

class temporary_folder {
public:
    temporary_folder() {
        const ::testing::TestInfo* test = ::testing::UnitTest::GetInstance()->current_test_info();
        std::string name = "zarn_" + std::string(test->test_suite_name()) + "_" + test->name();
        for (char& c : name) {
            if (c == '/') c = '_';
        }
        ___path = std::filesystem::temp_directory_path() / name;
        std::filesystem::remove_all(___path);
        std::filesystem::create_directories(___path);
    }
    ~temporary_folder() {
        std::error_code ignored;
        std::filesystem::remove_all(___path, ignored);
    }
    temporary_folder(const temporary_folder&) = delete;
    temporary_folder& operator=(const temporary_folder&) = delete;

    std::filesystem::path operator/(const std::filesystem::path& name) const { return ___path / name; }

private:
    std::filesystem::path ___path;
};

inline byte_vector read_bytes(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Replaces a file. False when it cannot be written in full.
inline bool write_bytes(const std::filesystem::path& path, const byte_vector& bytes) {
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(file.flush());
}

} // namespace zarn_test
