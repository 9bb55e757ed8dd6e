#include "shown/names.h"

#include <algorithm>
#include <numeric>
#include <string_view>

namespace opinitctl {
namespace {

// Levenshtein's distance, one row of the matrix at a time.
std::size_t mistakes(std::string_view from, std::string_view to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t diagonal = row[0]++;
        for (std::size_t j = 0; j < to.size(); ++j) {
            const std::size_t replaced = diagonal + (from[i] == to[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

}  // namespace

std::string enumeration(const Names& names) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
    return text;
}

Names without(Names names, const Names& others) {
    std::erase_if(names, [&others](const std::string& name) {
        return std::find(others.begin(), others.end(), name) != others.end();
    });
    return names;
}

std::string nearest(const std::string& word, const Names& known) {
    return *std::min_element(known.begin(), known.end(), [&word](const auto& left, const auto& right) {
        return mistakes(word, left) < mistakes(word, right);
    });
}

}  // namespace opinitctl
