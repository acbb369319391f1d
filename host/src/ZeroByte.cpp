#include "ZeroByte.h"

#include "CoreText.h"

#include <kvr/CKVRFormatCall.h>
#include <kvr/EKVRError.h>

namespace KVR
{

void checkName(const std::string& name, const char* function)
{
    if (hasZeroByte(name))
    {
        CKVRFormatCall format(__FILE__, function, __LINE__);
        throw EKVRCheckError(format(1, coreText("Argument of '%s' contains a zero byte."), function), "");
    }
}

} // namespace KVR
