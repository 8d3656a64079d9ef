// docs/operations.md and a table in README.md tell what the classes do; this makes both from the operations themselves
// and compares. With ZARN_NEW_MATRIX in the environment it writes them anew.

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/failing_allocator.h"
#include "tests/support/instruction_sets.h"
#include "tests/support/operation_table.h"

namespace zarn_test {

namespace {

// By operation, then by class, in the order in which they come up.
class matrix {
public:
    explicit matrix(std::vector<std::string> columns)
        : m_columns(std::move(columns)) {}

    void set(const std::string& row, const std::string& column, const std::string& cell) {
        if (!m_cells.count(row)) m_rows.push_back(row);
        m_cells[row][column] = cell;
    }
    std::string text(const std::string& absent) const {
        std::ostringstream out;
        out << "| operation |";
        for (const std::string& column : m_columns) out << ' ' << column << " |";
        out << "\n| --- |";
        for (std::size_t n = 0; n < m_columns.size(); ++n) out << " --- |";
        for (const std::string& row : m_rows) {
            out << "\n| " << row << " |";
            const auto& cells = m_cells.at(row);
            for (const std::string& column : m_columns)
                out << ' ' << (cells.count(column) ? cells.at(column) : absent) << " |";
        }
        out << "\n";
        return out.str();
    }

private:
    std::vector<std::string> m_columns, m_rows;
    std::map<std::string, std::map<std::string, std::string>> m_cells;
};

constexpr unsigned side = 256;

std::string multiple(std::int64_t bytes, std::int64_t of) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", static_cast<double>(bytes) / static_cast<double>(of));
    return text;
}

// The image with the picture that every row of the memory table starts from.
template <class Image>
void load_picture(Image& image) {
    EXPECT_TRUE(image_traits<Image>::load(image, random_picture<Image>(side, side, upper_left, alpha_kind::any, 1)));
}
template <class Image>
void load_samples(Image& image, unsigned width, unsigned height, unsigned grey) {
    std::vector<std::remove_pointer_t<decltype(image.get_pixel_array())>> samples;
    random_numbers random(1);
    for (std::size_t n = 0; n < std::size_t{width} * height * (grey ? 2 : 4); ++n)
        samples.push_back(arguments_of<Image>::number(static_cast<float>(random.below(256)) / 255.0f));
    EXPECT_EQ(image.create(width, height, grey, 0u, 0u, samples.data(), 1u), 1u);
}
template <>
void load_picture(zarn_image_real_32& image) {
    load_samples(image, side, side, 0);
}
template <>
void load_picture(zarn_image_real_16& image) {
    load_samples(image, side, side, 0);
}

// The most that is allocated during each operation, beside the image's own array.
template <class Image>
void measure_memory(matrix& all, const std::string& column) {
    for (const table_operation<Image>& operation : operations_of<Image>()) {
        const bool is_blit = operation.name.rfind("blit", 0) == 0;
        if (is_blit && operation.name != "blit, mode 0") continue; // the others take as much
        zarn_owned<Image> image;
        image->set_thread_limit(2);
        const std::int64_t before = live_bytes();
        load_picture(*image);
        const std::int64_t array =
            std::int64_t{side} * side * sizeof *image->get_pixel_array() * (arguments_of<Image>::is_real ? 4 : 1);
        watch_peak_bytes();
        operation.run(*image);
        all.set(is_blit ? "blit" : operation.name, column, multiple(peak_bytes() - before, array));
    }
}

// What becomes of one red sample that is no number, in the middle of an opaque picture.
template <class Image>
void watch_not_a_number(matrix& all, const std::string& column, unsigned grey) {
    for (const table_operation<Image>& operation : operations_of<Image>()) {
        zarn_owned<Image> image;
        image->set_thread_limit(1);
        constexpr unsigned width = 21, height = 15;
        load_samples(*image, width, height, grey);
        const unsigned channels = grey ? 2 : 4;
        auto* const samples = image->get_pixel_array();
        for (std::size_t n = channels - 1; n < std::size_t{width} * height * channels; n += channels)
            samples[n] = arguments_of<Image>::number(1.0f);
        samples[(height / 2 * width + width / 2) * channels] = arguments_of<Image>::number(std::nanf(""));
        operation.run(*image);
        const std::size_t count =
            std::size_t{image->get_width()} * image->get_height() * (image->is_grayscale() ? 2 : 4);
        std::size_t found = 0;
        for (std::size_t n = 0; n < count; ++n) found += std::isnan(static_cast<float>(image->get_pixel_array()[n]));
        all.set(operation.name, column, found == 0 ? "goes" : found == 1 ? "stays" : "spreads");
    }
}

// Which class has which operation, whatever its variants.
template <class Image>
void mark_operations(matrix& all, const std::string& column) {
    for (const table_operation<Image>& operation : operations_of<Image>())
        all.set('`' + operation.name.substr(0, operation.name.find(',')) + '`', column, "•");
}

std::string marks() {
    matrix all({"8, 16", "channel", "grey", "float", "half"});
    mark_operations<zarn_image_8>(all, "8, 16");
    mark_operations<grayscale_8>(all, "grey");
    mark_operations<channel_8>(all, "channel");
    mark_operations<zarn_image_real_32>(all, "float");
    mark_operations<zarn_image_real_16>(all, "half");
    return all.text("");
}

const char* const preamble = R"(# What the classes do

Made from the table of operations that drives the tests (`tests/support/operation_table.h`); a test compares this page
with what the library does. `zarn_image_8_16` does what the image that it holds does.

## Operations, and the memory they take

The most that is allocated at any time during the operation, the image included, as a multiple of the image: 256 x 256
pixels, two threads, without vector code. An empty cell: the class does not have the operation, by design. The picture
has no edge to trim (`crop_to_pixels` takes 2 where it trims) and is in colour (`convert_to_rgba` takes 3 of a grey one).
`distance_transform` holds 16 bytes a pixel more in between, from the C allocator.

)";

const char* const not_a_number_text = R"(
## No numbers in float images

What becomes of one colour sample that is NaN in an opaque picture: it *goes* (a number takes its place), *stays* as it
is, or *spreads* to further samples. Nothing undefined happens to NaN and infinities in any operation.

)";

std::string page() {
    std::vector<std::string> columns;
    matrix memory({"`image_8`", "`image_16`", "grayscale 8", "grayscale 16", "grayscale 32", "channel 8", "channel 16",
                   "channel 32", "`image_real_32`", "`image_real_16`"});
    measure_memory<zarn_image_8>(memory, "`image_8`");
    measure_memory<zarn_image_16>(memory, "`image_16`");
    measure_memory<grayscale_8>(memory, "grayscale 8");
    measure_memory<grayscale_16>(memory, "grayscale 16");
    measure_memory<grayscale_32>(memory, "grayscale 32");
    measure_memory<channel_8>(memory, "channel 8");
    measure_memory<channel_16>(memory, "channel 16");
    measure_memory<channel_32>(memory, "channel 32");
    measure_memory<zarn_image_real_32>(memory, "`image_real_32`");
    measure_memory<zarn_image_real_16>(memory, "`image_real_16`");
    matrix fates({"float, colour", "float, grey", "half, colour", "half, grey"});
    watch_not_a_number<zarn_image_real_32>(fates, "float, colour", 0);
    watch_not_a_number<zarn_image_real_32>(fates, "float, grey", 1);
    watch_not_a_number<zarn_image_real_16>(fates, "half, colour", 0);
    watch_not_a_number<zarn_image_real_16>(fates, "half, grey", 1);
    return preamble + memory.text("") + not_a_number_text + fates.text("");
}

std::string contents(const std::string& path) {
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

void expect_contents(const std::string& path, const std::string& made) {
    if (std::getenv("ZARN_NEW_MATRIX")) std::ofstream(path) << made;
    EXPECT_EQ(contents(path), made);
}

} // namespace

TEST(operation_matrix, the_page_tells_what_the_library_does) {
    // What vector code takes beside follows from the width of vectors, so from the machine.
    use_targets(HWY_SCALAR);
    const std::string made = page();
    use_targets(0);
    expect_contents(ZARN_SOURCE_FOLDER "/docs/operations.md", made);
}

TEST(operation_matrix, the_readme_tells_which_class_has_which_operation) {
    const std::string path = ZARN_SOURCE_FOLDER "/README.md", before = contents(path);
    const std::string first = "| operation | 8, 16 |", last = "|\n\n";
    const std::size_t start = before.find(first), end = before.find(last, start);
    ASSERT_NE(end, std::string::npos);
    expect_contents(path, before.substr(0, start) + marks() + before.substr(end + 2));
}

} // namespace zarn_test
