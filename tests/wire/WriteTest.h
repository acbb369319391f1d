#pragma once

#include "ConnectionTest.h"

#include <list>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace KVR
{

using AttributeMap = std::multimap<std::string, std::string>;
using Support::Attribute;
using Support::Modification;
using Change = Support::LdapInterposer::Change;

namespace Support
{

inline bool operator==(const Change& left, const Change& right)
{
    return left.code == right.code && left.type == right.type && left.hasValueList == right.hasValueList;
}

inline std::ostream& operator<<(std::ostream& stream, const Change& change)
{
    return stream << "code " << change.code << " type " << change.type
                  << (change.hasValueList ? " with" : " without") << " a list of values";
}

} // namespace Support

/** A connected connection, and writes on it. */
class WriteTest : public ConnectedTest
{
protected:
    /** Connects anew, with this character set in place of the locale's. */
    void connectIn(const std::string& codeset)
    {
        connection.Disconnect();
        const DefaultCodesetGuard guard(codeset);
        // A connection keeps the character set of its first conversion; these tests have none before.
        connect(connection);
    }

    /** What the only modify request so far asks for. */
    std::vector<Modification> sentModifications() const
    {
        return responder.only(Operation::Modify).modifications;
    }
};

/** What a value that can't be converted leads to where nothing replaces it. */
inline Caught conversionFailure()
{
    return internalError("iconv conversion failed.", "KVRLdapConnectionText.cpp:LINE(InternalIconv)");
}

} // namespace KVR
