#include "velmctl/output/Nearest.h"

#include "velmd/model/CIMName.h"

#include <algorithm>

namespace velm {

std::size_t editDistance(std::string_view left, std::string_view right) {
    std::vector<std::vector<std::size_t>> rows(left.size() + 1, std::vector<std::size_t>(right.size() + 1));
    for (std::size_t i = 0; i <= left.size(); ++i) {
        for (std::size_t j = 0; j <= right.size(); ++j) {
            if (i == 0 || j == 0) {
                rows[i][j] = i + j;
                continue;
            }
            const std::size_t exchanged = rows[i - 1][j - 1] + (left[i - 1] == right[j - 1] ? 0 : 1);
            rows[i][j] = std::min({rows[i - 1][j] + 1, rows[i][j - 1] + 1, exchanged});
            if (i > 1 && j > 1 && left[i - 1] == right[j - 2] && left[i - 2] == right[j - 1]) {
                rows[i][j] = std::min(rows[i][j], rows[i - 2][j - 2] + 1);
            }
        }
    }
    return rows[left.size()][right.size()];
}

std::string nearest(std::string_view word, const std::vector<std::string>& candidates) {
    constexpr std::size_t longestWord = 64;
    std::string best;
    if (word.size() > longestWord) {
        return best;
    }
    std::size_t least = word.size() + 1;
    for (const std::string& candidate : candidates) {
        const std::size_t distance = editDistance(foldedName(word), foldedName(candidate));
        const std::size_t longer = std::max(word.size(), candidate.size());
        if (distance < least && distance * 3 <= longer) {
            least = distance;
            best = candidate;
        }
    }
    return best;
}

}  // namespace velm
