#include "Figures.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace KVR::Bench
{

double quantile(std::vector<double> figures, double share)
{
    std::sort(figures.begin(), figures.end());
    const double position = share * static_cast<double>(figures.size() - 1);
    const double below = std::floor(position);
    const auto index = static_cast<std::size_t>(below);
    const std::size_t next = std::min(index + 1, figures.size() - 1);
    return figures[index] + (position - below) * (figures[next] - figures[index]);
}

void printBar(const std::string& name, double value, double ratio, double limit)
{
    std::printf("bar %s %.0f %.3f limit %.2f %s\n", name.c_str(), value, ratio, limit,
                ratio >= limit ? "ok" : "short");
}

} // namespace KVR::Bench
