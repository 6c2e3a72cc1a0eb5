#include "suggest.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <vector>

namespace tools {

namespace {

char lower(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

/// How many letters have to be inserted, left out or replaced.
std::size_t editDistance(std::string_view from, std::string_view to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < to.size(); ++j) {
            std::size_t const replaced = diagonal + (lower(from[i]) == lower(to[j]) ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
        }
    }
    return row.back();
}

}  // namespace

std::string nearest(std::string_view name, std::span<std::string_view const> candidates) {
    std::string_view best;
    std::size_t fewest = 0;
    for (std::string_view const candidate : candidates) {
        std::size_t const distance = editDistance(name, candidate);
        // More than half the letters wrong is another word.
        if (2 * distance > std::max(name.size(), candidate.size())) continue;
        if (best.empty() || distance < fewest) {
            best = candidate;
            fewest = distance;
        }
    }
    return std::string(best);
}

}  // namespace tools
