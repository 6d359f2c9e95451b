#pragma once

#include <string>
#include <vector>

namespace tandrel::bench {

/// Measured values of one kind, in the order in which they came.
class Figures {
public:
    void add(double value) { values_.push_back(value); }
    [[nodiscard]] bool isEmpty() const { return values_.empty(); }
    [[nodiscard]] double median() const { return quantile(0.5); }
    /// The value that the given share of all lies at or below (nearest rank); 0 without values.
    [[nodiscard]] double quantile(double share) const;
    /// "median 44.1 ms (41.0 to 52.3, 20 runs)".
    [[nodiscard]] std::string summary(const std::string& unit) const;

private:
    std::vector<double> values_;
};

/// Prints ours against theirs with the ratio of the medians and whether it is within the bar.
void printComparison(const std::string& what, const Figures& ours, const Figures& theirs,
                     const std::string& unit, double bar);

} // namespace tandrel::bench
