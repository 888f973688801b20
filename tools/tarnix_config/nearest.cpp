// SPDX-License-Identifier: MIT

#include "tools/tarnix_config/nearest.h"

#include <algorithm>

namespace tarnix_config {
namespace {

constexpr std::size_t MAX_LENGTH = 64;

std::string Normalised(const std::string& name)
{
    std::string text = name;
    for (char& c : text) {
        if (c == '_') {
            c = '-';
        } else if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return text;
}

}  // namespace

std::size_t EditDistance(const std::string& one, const std::string& other)
{
    if (one.size() > MAX_LENGTH || other.size() > MAX_LENGTH) {
        return std::max(one.size(), other.size());
    }
    std::vector<std::vector<std::size_t>> rows(one.size() + 1, std::vector<std::size_t>(other.size() + 1));
    for (std::size_t i = 0; i <= one.size(); ++i) {
        rows[i][0] = i;
    }
    for (std::size_t j = 0; j <= other.size(); ++j) {
        rows[0][j] = j;
    }
    for (std::size_t i = 1; i <= one.size(); ++i) {
        for (std::size_t j = 1; j <= other.size(); ++j) {
            const std::size_t replaced = rows[i - 1][j - 1] + (one[i - 1] == other[j - 1] ? 0 : 1);
            rows[i][j] = std::min({rows[i - 1][j] + 1, rows[i][j - 1] + 1, replaced});
            if (i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1]) {
                rows[i][j] = std::min(rows[i][j], rows[i - 2][j - 2] + 1);
            }
        }
    }
    return rows[one.size()][other.size()];
}

std::string Nearest(const std::string& name, const std::vector<std::string>& known)
{
    const std::string normalised = Normalised(name);
    std::string nearest;
    std::size_t least = std::max<std::size_t>(1, normalised.size() / 3) + 1;
    for (const std::string& candidate : known) {
        const std::size_t distance = EditDistance(normalised, candidate);
        if (distance < least) {
            least = distance;
            nearest = candidate;
        }
    }
    return nearest;
}

}  // namespace tarnix_config
