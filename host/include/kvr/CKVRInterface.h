#pragma once

#include <kvr/KVRExport.h>

#include <string>

namespace KVR
{

/**
 * Base of every object that a module registers with the host.
 *
 * The host identifies a registered object by its name. The only virtual operation is the
 * destructor, so that the first operation of a derived interface follows it in the table.
 */
class KVR_API CKVRInterface
{
public:
    /** @param interfaceName name under which the host registers the object */
    explicit CKVRInterface(const std::string& interfaceName);
    virtual ~CKVRInterface();

    CKVRInterface(const CKVRInterface&) = delete;
    CKVRInterface& operator=(const CKVRInterface&) = delete;

    const std::string& Name() const { return name; }

private:
    std::string name;
};

} // namespace KVR
