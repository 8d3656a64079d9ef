// Tables that read well as plain text too.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace zarn_bench {

class markdown_table {
public:
    explicit markdown_table(std::vector<std::string> heads) { ___rows.push_back(std::move(heads)); }

    void add(std::vector<std::string> cells) { ___rows.push_back(std::move(cells)); }
    bool is_empty() const { return ___rows.size() < 2; }

    // The first `words` columns stand on the left of their cells, the numbers behind them on the right.
    void write(std::ostream& out, std::size_t words) const;

private:
    std::vector<std::vector<std::string>> ___rows;
};

// An item of a list, wrapped to lines of at most 120 characters.
void write_item(std::ostream& out, const std::string& text);

std::string digits(double value);             // three of them, as in 0.0123, 1.23, 123
std::string size_name(unsigned side);         // as in 1024²
std::string share(double part, double whole); // as in 45 %; empty for nothing

} // namespace zarn_bench
