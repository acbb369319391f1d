#include <kvr/CKVRInterface.h>

namespace KVR
{

CKVRInterface::CKVRInterface(const std::string& interfaceName) : name(interfaceName) {}

CKVRInterface::~CKVRInterface() = default;

} // namespace KVR
