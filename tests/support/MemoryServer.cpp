#include "MemoryServer.h"

#include "BerOwner.h"
#include "EntryBytes.h"

#include <fcntl.h>
#include <lber.h>
#include <openldap.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace KVR::Support
{

namespace
{

/** One connection: what the client may still read. */
struct Pipe
{
    const MemoryServer& server;
    int descriptor;
    std::string unread;
    std::size_t at = 0;
};

Pipe& pipeOf(Sockbuf_IO_Desc* layer)
{
    return *static_cast<Pipe*>(layer->sbiod_pvt);
}

int setUp(Sockbuf_IO_Desc* layer, void* pipe)
{
    layer->sbiod_pvt = pipe;
    return 0;
}

int tearDown(Sockbuf_IO_Desc* layer)
{
    const std::unique_ptr<Pipe> released(&pipeOf(layer));
    layer->sbiod_pvt = nullptr;
    return 0;
}

int control(Sockbuf_IO_Desc* layer, int option, void* argument)
{
    static_cast<void>(layer);
    static_cast<void>(argument);
    // The library asks this before it waits for the descriptor.
    return option == LBER_SB_OPT_DATA_READY ? 1 : 0;
}

ber_slen_t read(Sockbuf_IO_Desc* layer, void* bytes, ber_len_t size)
{
    Pipe& pipe = pipeOf(layer);
    const std::size_t given = std::min<std::size_t>(size, pipe.unread.size() - pipe.at);
    std::memcpy(bytes, pipe.unread.data() + pipe.at, given);
    pipe.at += given;
    return static_cast<ber_slen_t>(given);
}

ber_slen_t write(Sockbuf_IO_Desc* layer, void* bytes, ber_len_t size)
{
    Pipe& pipe = pipeOf(layer);
    pipe.unread.erase(0, pipe.at);
    pipe.at = 0;
    // The library hands over each request as a whole.
    pipe.unread += pipe.server.answer({static_cast<const char*>(bytes), size});
    return static_cast<ber_slen_t>(size);
}

int closeLayer(Sockbuf_IO_Desc* layer)
{
    return close(pipeOf(layer).descriptor);
}

Sockbuf_IO memoryLayer{setUp, tearDown, control, read, write, closeLayer};

} // namespace

LDAP* MemoryServer::makeSession()
{
    // The library wants a descriptor but never reads it.
    const int descriptor = open("/dev/null", O_RDWR | O_CLOEXEC);
    LDAP* session = nullptr;
    if (descriptor < 0 || ldap_init_fd(descriptor, LDAP_PROTO_EXT, "ldap://memory", &session) != LDAP_SUCCESS)
    {
        throw std::runtime_error("there is no session in memory");
    }
    Sockbuf* buffer = nullptr;
    ldap_get_option(session, LDAP_OPT_SOCKBUF, &buffer);
    auto pipe = std::make_unique<Pipe>(Pipe{*this, descriptor, "", 0});
    if (ber_sockbuf_add_io(buffer, &memoryLayer, LBER_SBIOD_LEVEL_PROVIDER, pipe.get()) != 0)
    {
        throw std::runtime_error("there is no transport in memory");
    }
    static_cast<void>(pipe.release());
    return session;
}

std::string MemoryServer::answer(const std::string& request) const
{
    berval bytes{request.size(), const_cast<char*>(request.data())};
    const BerOwner ber(ber_init(&bytes));
    ber_int_t id = 0;
    ber_tag_t operation = LBER_ERROR;
    if (ber_scanf(ber.get(), "{it", &id, &operation) == LBER_ERROR)
    {
        throw std::runtime_error("the request can't be decoded");
    }
    switch (operation)
    {
    case LDAP_REQ_BIND:
        return resultMessage(id, LDAP_RES_BIND, LDAP_SUCCESS);
    case LDAP_REQ_SEARCH:
        return onSearch(id);
    default:
        return "";
    }
}

} // namespace KVR::Support
