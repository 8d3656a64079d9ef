#include "benchmarks/peer/markdown.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>

namespace zarn_bench {

namespace {

// Characters, not bytes.
std::size_t width(const std::string& text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

} // namespace

void markdown_table::write(std::ostream& out, std::size_t words) const {
    std::vector<std::size_t> widths(___rows.front().size(), 3);
    for (const std::vector<std::string>& row : ___rows)
        for (std::size_t n = 0; n < row.size(); ++n) widths[n] = std::max(widths[n], width(row[n]));

    bool is_head = true;
    for (const std::vector<std::string>& row : ___rows) {
        out << '|';
        for (std::size_t n = 0; n < row.size(); ++n) {
            const std::string padding(widths[n] - width(row[n]), ' ');
            out << ' ' << (n < words ? row[n] + padding : padding + row[n]) << " |";
        }
        out << '\n';
        if (is_head) {
            out << '|';
            for (std::size_t n = 0; n < row.size(); ++n)
                out << ' ' << std::string(widths[n] - 1, '-') << (n < words ? "- |" : ": |");
            out << '\n';
        }
        is_head = false;
    }
    out << '\n';
}

void write_item(std::ostream& out, const std::string& text) {
    std::istringstream words(text);
    std::size_t column = 1;
    out << '-';
    for (std::string word; words >> word;) {
        if (column + 1 + width(word) > 120) {
            out << "\n ";
            column = 1;
        }
        out << ' ' << word;
        column += 1 + width(word);
    }
    out << '\n';
}

std::string digits(double value) {
    const double size = std::fabs(value);
    if (size < 1e-9) return "0";
    const int decimals = size >= 99.95 ? 0 : size >= 9.995 ? 1 : size >= 0.9995 ? 2 : size >= 0.09995 ? 3 : 4;
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

std::string size_name(unsigned side) { return std::to_string(side) + "²"; }

std::string share(double part, double whole) {
    return part > 0.0 && whole > 0.0 ? std::to_string(std::lround(100.0 * part / whole)) + " %" : "";
}

} // namespace zarn_bench
