// One number for each operation and integer format, which no instruction set, no number of threads and no later change
// may alter: tests/golden_numbers.txt. ZARN_NEW_GOLDEN=FILE in the environment writes those of this build to FILE.

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/instruction_sets.h"
#include "tests/support/operation_table.h"

namespace zarn_test {

namespace {

// A line each: the number, then the name.
std::map<std::string, std::uint64_t> golden_numbers() {
    std::map<std::string, std::uint64_t> numbers;
    std::ifstream file(ZARN_SOURCE_FOLDER "/tests/golden_numbers.txt");
    std::uint64_t number = 0;
    for (std::string name; file >> std::hex >> number && std::getline(file >> std::ws, name);) numbers[name] = number;
    return numbers;
}

// FNV-1a.
class hash {
public:
    void add(std::uint64_t value) {
        for (unsigned shift = 0; shift < 64; shift += 8) m_state = (m_state ^ (value >> shift & 255)) * 1099511628211u;
    }
    std::uint64_t value() const { return m_state; }

private:
    std::uint64_t m_state = 14695981039346656037u;
};

template <class Image>
std::uint64_t number_of(const table_operation<Image>& operation, unsigned thread_limit) {
    struct one_picture {
        unsigned width, height;
        std::uint32_t origin;
        alpha_kind kind;
    };
    hash all;
    for (const one_picture& p : {one_picture{61, 23, upper_left, alpha_kind::any},
                                 {34, 17, lower_left, alpha_kind::binary},
                                 {19, 12, upper_left, alpha_kind::sparse}}) {
        loaded_image<Image> image(random_picture<Image>(p.width, p.height, p.origin, p.kind, p.width), thread_limit);
        operation.run(*image);
        const reference_image result = image_traits<Image>::read(*image);
        for (const std::uint64_t value : {result.width, result.height, result.origin}) all.add(value);
        for (const std::uint32_t sample : result.samples) all.add(sample);
        EXPECT_TRUE(messages(*image).empty()) << operation.name;
    }
    return all.value();
}

} // namespace

template <class Image>
class golden : public ::testing::Test {
protected:
    ~golden() override { use_targets(0); }
};
TYPED_TEST_SUITE(golden, image_types, image_type_names);

TYPED_TEST(golden, numbers) {
    const char* const path = std::getenv("ZARN_NEW_GOLDEN");
    std::ofstream file;
    if (path) file.open(path, std::ios::app);
    const std::map<std::string, std::uint64_t> known = golden_numbers();
    const std::int64_t targets = hwy::SupportedTargets();
    for (const table_operation<TypeParam>& operation : operations_of<TypeParam>()) {
        const std::string name = std::string(image_traits<TypeParam>::name) + ", " + operation.name;
        const std::uint64_t number = number_of(operation, 1);
        if (path) file << std::hex << number << ' ' << name << '\n';
        ASSERT_TRUE(path || known.count(name)) << name;
        if (!path) {
            EXPECT_EQ(number, known.at(name)) << name;
        }
        for (unsigned threads = 2; threads <= 7 && !operation.depends_on_bands; ++threads)
            EXPECT_EQ(number, number_of(operation, threads)) << name << ", " << threads << " threads";
        for (std::int64_t left = targets; left; left &= left - 1) {
            use_targets(left & -left);
            EXPECT_EQ(number, number_of(operation, 1)) << name << ", " << hwy::TargetName(left & -left);
        }
        use_targets(0);
    }
}

} // namespace zarn_test
