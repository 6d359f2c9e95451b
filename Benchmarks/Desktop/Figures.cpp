#include "Figures.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>

namespace tandrel::bench {

double Figures::quantile(double share) const {
    if (values_.empty()) {
        return 0;
    }
    std::vector<double> sorted = values_;
    std::sort(sorted.begin(), sorted.end());
    const double rank = std::ceil(share * static_cast<double>(sorted.size()));
    const auto index = static_cast<std::size_t>(std::max(rank, 1.0)) - 1;
    return sorted[std::min(index, sorted.size() - 1)];
}

std::string Figures::summary(const std::string& unit) const {
    if (values_.empty()) {
        return "not measured";
    }
    std::vector<char> text(200);
    std::snprintf(text.data(), text.size(), "median %.2f %s (%.2f to %.2f, %zu runs)", median(),
                  unit.c_str(), *std::min_element(values_.begin(), values_.end()),
                  *std::max_element(values_.begin(), values_.end()), values_.size());
    return text.data();
}

void printComparison(const std::string& what, const Figures& ours, const Figures& theirs,
                     const std::string& unit, double bar) {
    std::printf("%s\n  ours  %s\n  bare  %s\n", what.c_str(), ours.summary(unit).c_str(),
                theirs.summary(unit).c_str());
    if (theirs.median() > 0) {
        const double ratio = ours.median() / theirs.median();
        std::printf("  ratio of medians %.2f (goal: at most %.2f): %s\n", ratio, bar,
                    ratio <= bar ? "met" : "missed");
    }
    std::fflush(stdout);
}

} // namespace tandrel::bench
