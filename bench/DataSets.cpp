#include "DataSets.h"

#include "LoadedModule.h"

#include <stdexcept>

namespace KVR::Bench
{

namespace
{

constexpr std::size_t numberDigits = 6;
constexpr char everything[] = "(objectClass=*)";
constexpr char everyPerson[] = "(uid=user*)";

/**
 * The people 1 to N. Their numbers have six digits, so that those below N are the ones that begin with
 * fewer zeros than N's and a smaller digit; seven digits are all the people there are.
 */
std::string firstPeople(const std::string& number)
{
    if (number.size() < 2 || number.find_first_not_of('0', 1) != std::string::npos || number.front() < '1' ||
        number.front() > '9')
    {
        throw std::invalid_argument("'" + number + "' is not a digit and zeros");
    }
    if (number.size() > numberDigits)
    {
        return everyPerson;
    }
    const std::string start = "(uid=user" + std::string(numberDigits - number.size(), '0');
    std::string filter = "(|";
    for (char digit = '0'; digit < number.front(); ++digit)
    {
        filter.append(start).append(1, digit).append("*)");
    }
    return filter.append(start).append(number).append("))");
}

} // namespace

DataSet dataSet(const std::string& name)
{
    const std::string suffix = serverVariable("KVR_TEST_LDAP_SUFFIX");
    const std::size_t dash = name.find('-');
    const std::string kind = name.substr(0, dash);
    const std::string number = dash == std::string::npos ? "" : name.substr(dash + 1);
    if (name == "people")
    {
        return {"ou=people," + suffix, everyPerson};
    }
    if (kind == "people" || kind == "mixed" || kind == "latin")
    {
        return {std::string("ou=").append(kind).append(",").append(suffix), firstPeople(number)};
    }
    if (name == "wide")
    {
        return {"ou=wide," + suffix, "(objectClass=benchEntry)"};
    }
    if (kind == "narrow" && !number.empty())
    {
        return {std::string("ou=").append(name).append(",").append(suffix), "(objectClass=benchEntry)"};
    }
    if (kind == "group" && !number.empty())
    {
        return {std::string("cn=").append(name).append(",ou=groups,").append(suffix), everything, true};
    }
    if (name == "person")
    {
        return {"uid=user000007,ou=people," + suffix, everything, true};
    }
    throw std::invalid_argument("no data set '" + name + "'");
}

} // namespace KVR::Bench
