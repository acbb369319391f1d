#include "BarLine.h"

#include <algorithm>
#include <cstdio>

namespace KVR::Bench
{

double median(std::vector<double> figures)
{
    std::sort(figures.begin(), figures.end());
    const std::size_t middle = figures.size() / 2;
    return figures.size() % 2 == 1 ? figures[middle] : (figures[middle - 1] + figures[middle]) / 2;
}

void printBar(const std::string& name, double value, double reference, double limit)
{
    const double ratio = value / reference;
    std::printf("bar %s %.0f %.3f limit %.2f %s\n", name.c_str(), value, ratio, limit,
                ratio >= limit ? "ok" : "short");
}

} // namespace KVR::Bench
