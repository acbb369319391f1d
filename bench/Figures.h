#pragma once

#include <string>
#include <vector>

namespace KVR::Bench
{

/**
 * The figure that this share of them does not exceed, between two neighbours when need be: 0.5 gives
 * the median.
 * @param figures at least one
 */
double quantile(std::vector<double> figures, double share);

/**
 * Prints the verdict of one bar, "bar NAME VALUE RATIO limit LIMIT ok" or "short" at its end.
 * @param ratio of the value to what bare libldap reaches in the same run
 * @param limit the least ratio that is enough
 */
void printBar(const std::string& name, double value, double ratio, double limit);

} // namespace KVR::Bench
