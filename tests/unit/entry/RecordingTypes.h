#pragma once

#include "EntryReadings.h"
#include "KVRLdapConnection.h"
#include "KVRLdapEntity.h"

#include <string_view>

namespace KVR::Support
{

/** What is being written down. */
struct EventRecord
{
    Events events;
    const IKVRLdapEntity* entity = nullptr; /**< that is being filled */

    template <typename... Parts>
    void add(const Parts&... parts)
    {
        (append(parts), ...);
        events.ends.push_back(events.bytes.size());
    }

private:
    void append(std::string_view text) { events.bytes += text; }

    template <typename Number, typename = std::enable_if_t<std::is_integral_v<Number>>>
    void append(Number number)
    {
        events.bytes += std::to_string(number);
    }
};

/** Writes down every virtual call that reading an entry may make. */
class RecordingConnection : public CKVRLdapConnection
{
public:
    RecordingConnection(IKVRCore& host, EventRecord& record) : CKVRLdapConnection(host), record_(record) {}

    /** Says what conversions do from now on, see Setting. */
    void begin(int throwsAt, bool searches)
    {
        throwsAt_ = throwsAt;
        searches_ = searches;
        conversions_ = 0;
    }

    bool IsConnected() override;
    bool IfReconnectNeeded() override;
    long GetLastError() override;
    std::string LocalToUtf8(const std::string& text) override;
    std::string Utf8ToLocal(const std::string& text) override;

private:
    void readAnother();

    EventRecord& record_;
    int throwsAt_ = 0;
    bool searches_ = false;
    int conversions_ = 0;
    bool nested_ = false;
};

/** Writes down every virtual call that filling an entity may make. */
class RecordingEntity : public CKVRLdapEntity
{
public:
    RecordingEntity(CKVRLdapConnection& owner, EventRecord& record) : CKVRLdapEntity(owner), record_(record)
    {
    }

    bool IsValid() override;
    void Clear() override;

private:
    EventRecord& record_;
};

} // namespace KVR::Support
