// Metrics as OpenMetrics text, in the subset that the older Prometheus text format has too: gauges only.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace opinitctl {

using Labels = std::vector<std::pair<std::string, std::string>>;

struct Gauge {
    std::string name;  ///< ends with the unit where there is one
    std::string unit;
    std::string help;
    std::map<Labels, std::uint64_t> samples;
};

std::string open_metrics(const std::vector<Gauge>& gauges);

}  // namespace opinitctl
