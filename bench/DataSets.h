#pragma once

#include <string>

namespace KVR::Bench
{

/** Entries of the private server that a search finds; bench/data makes those that are not people. */
struct DataSet
{
    std::string base;
    std::string filter;
    bool baseOnly = false;
};

/**
 * The data set of this name:
 *   people     all people
 *   people-N   N people, latin-N N people whose values ISO-8859-1 can express;
 *              N is a digit and zeros, from 10 on
 *   wide       entries of 60 attributes and 200 values
 *   narrow-N   entries of N attributes with a value each
 *   group-N    a group of N members
 *   person     one person, read by name
 * @throws std::invalid_argument for any other name
 */
DataSet dataSet(const std::string& name);

} // namespace KVR::Bench
