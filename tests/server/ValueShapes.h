#pragma once

#include <string>
#include <utility>
#include <vector>

namespace KVR::ServerTests
{

/** Values that are one of a kind, and the attributes that take them. All text is UTF-8. */
struct ValueShape
{
    std::string name;
    std::vector<std::pair<std::string, std::string>> pairs; /**< values of one attribute in a row */
};

/** Values without zero bytes, as maps of attributes hold them. */
std::vector<ValueShape> textShapes();

/** Values of one attribute each that may hold any bytes. */
std::vector<ValueShape> binaryShapes();

/** Values that the server takes for equal, so that it refuses both together. */
std::vector<ValueShape> duplicateShapes();

} // namespace KVR::ServerTests
