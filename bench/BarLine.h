#pragma once

#include <string>
#include <vector>

namespace KVR::Bench
{

/** The middle one, or the mean of the two in the middle. @param figures at least one */
double median(std::vector<double> figures);

/**
 * Prints the verdict of one bar, "bar NAME VALUE RATIO limit LIMIT ok" or "short" at its end.
 * @param reference what bare libldap reaches in the same run
 * @param limit the least ratio of value to reference that is enough
 */
void printBar(const std::string& name, double value, double reference, double limit);

} // namespace KVR::Bench
