#include "LdapResponder.h"

#include "LoopbackListener.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace KVR::Support
{

namespace
{

constexpr std::chrono::seconds patience{10};

int checked(int result, const char* what)
{
    if (result < 0)
    {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

pollfd watch(int descriptor, short events)
{
    return pollfd{descriptor, events, 0};
}

} // namespace

LdapResponder::LdapResponder(Transport transport)
    : transport_(transport), wakeup_(checked(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd"))
{
    if (transport == Transport::Local)
    {
        listenOnPath();
    }
    else
    {
        listener_ = listenOnLoopback(SOMAXCONN, port_);
    }
    thread_ = std::thread(&LdapResponder::run, this);
}

LdapResponder::~LdapResponder()
{
    stop();
    if (!folder_.empty())
    {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
}

void LdapResponder::listenOnPath()
{
    folder_ = std::filesystem::temp_directory_path() / "responder.XXXXXX";
    if (::mkdtemp(folder_.data()) == nullptr)
    {
        throw std::system_error(errno, std::generic_category(), "mkdtemp");
    }
    listener_ = Descriptor(checked(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket"));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = folder_ + "/socket";
    path.copy(std::begin(address.sun_path), sizeof address.sun_path - 1);
    checked(::bind(listener_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), "bind");
    checked(::listen(listener_.get(), SOMAXCONN), "listen");
}

std::string LdapResponder::target() const
{
    return "127.0.0.1:" + std::to_string(port_);
}

std::string LdapResponder::uri() const
{
    if (transport_ == Transport::Tls)
    {
        return "ldaps://" + target();
    }
    if (transport_ == Transport::Tcp)
    {
        return "ldap://" + target();
    }
    std::string path;
    for (const char each : folder_ + "/socket")
    {
        path += each == '/' ? "%2F" : std::string(1, each);
    }
    return "ldapi://" + path;
}

void LdapResponder::on(Operation operation, const Answer& answer)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    answers_[operation].push_back(answer);
}

void LdapResponder::handle(Operation operation, const Handler& handler)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    handlers_[operation] = handler;
}

void LdapResponder::always(Operation operation, const Answer& answer)
{
    handle(operation, [answer](const LdapRequest&) { return answer; });
}

LdapResponder::Handler LdapResponder::byDn(const std::map<std::string, Answer>& answers)
{
    return [answers](const LdapRequest& request)
    {
        const auto found = answers.find(request.dn);
        return found != answers.end() ? found->second : Answer();
    };
}

std::vector<LdapRequest> LdapResponder::requests() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return requests_;
}

std::vector<LdapRequest> LdapResponder::requests(Operation operation) const
{
    auto found = requests();
    found.erase(std::remove_if(found.begin(), found.end(),
                               [operation](const LdapRequest& r) { return r.operation != operation; }),
                found.end());
    return found;
}

std::vector<Operation> LdapResponder::operations() const
{
    std::vector<Operation> found;
    for (const auto& request : requests())
    {
        found.push_back(request.operation);
    }
    return found;
}

LdapRequest LdapResponder::only(Operation operation) const
{
    const auto found = requests(operation);
    if (found.size() != 1)
    {
        throw std::runtime_error("requests of this kind: " + std::to_string(found.size()));
    }
    return found.front();
}

int LdapResponder::connections() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return accepted_;
}

void LdapResponder::clear()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    requests_.clear();
}

bool LdapResponder::await(Operation operation, std::size_t count) const
{
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, patience,
                             [&]
                             {
                                 const auto found = std::count_if(requests_.begin(), requests_.end(),
                                                                  [operation](const LdapRequest& r)
                                                                  { return r.operation == operation; });
                                 return static_cast<std::size_t>(found) >= count;
                             });
}

bool LdapResponder::awaitNoConnection() const
{
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, patience, [this] { return open_ == 0; });
}

void LdapResponder::dropConnections()
{
    std::unique_lock<std::mutex> lock(mutex_);
    dropping_ = true;
    wake();
    changed_.wait(lock, [this] { return !dropping_ || stopping_; });
}

void LdapResponder::stop()
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
        wake();
    }
    changed_.notify_all();
    if (thread_.joinable())
    {
        thread_.join();
    }
    connections_.clear();
    listener_ = Descriptor();
}

void LdapResponder::wake() const
{
    const std::uint64_t one = 1;
    // Fails only when the counter is full, and the thread is woken then as well.
    [[maybe_unused]] const ssize_t written = ::write(wakeup_.get(), &one, sizeof one);
}

void LdapResponder::obeyCommands()
{
    std::uint64_t count = 0;
    // Fails only when nobody has woken the thread; there is nothing to take then.
    [[maybe_unused]] const ssize_t taken = ::read(wakeup_.get(), &count, sizeof count);
    const std::lock_guard<std::mutex> lock(mutex_);
    if (dropping_)
    {
        connections_.clear();
        open_ = 0;
        dropping_ = false;
        changed_.notify_all();
    }
}

void LdapResponder::run()
{
    for (;;)
    {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            if (stopping_)
            {
                return;
            }
        }
        std::vector<pollfd> watched{watch(wakeup_.get(), POLLIN), watch(listener_.get(), POLLIN)};
        const std::size_t first = watched.size();
        for (const auto& connection : connections_)
        {
            watched.push_back(watch(connection.deaf ? -1 : connection.channel->socket(), POLLIN));
        }
        ::poll(watched.data(), watched.size(), -1);
        if (watched[0].revents != 0)
        {
            obeyCommands();
            continue;
        }
        for (std::size_t i = connections_.size(); i-- > 0;)
        {
            if (watched[first + i].revents != 0 && !serve(connections_[i]))
            {
                connections_.erase(connections_.begin() + static_cast<std::ptrdiff_t>(i));
                const std::lock_guard<std::mutex> lock(mutex_);
                open_--;
                changed_.notify_all();
            }
        }
        if (watched[1].revents != 0)
        {
            accept();
        }
    }
}

void LdapResponder::accept()
{
    Descriptor socket(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (socket.get() < 0)
    {
        return;
    }
    const int on = 1;
    ::setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    auto channel = transport_ == Transport::Tls ? makeTlsChannel(std::move(socket))
                                                : std::make_unique<Channel>(std::move(socket));
    const std::lock_guard<std::mutex> lock(mutex_);
    accepted_++;
    open_++;
    connections_.push_back({accepted_, std::move(channel), {}, false});
}

/** Reads what has come; false when the connection is over. */
bool LdapResponder::receive(Connection& connection)
{
    std::array<char, 65536> chunk{};
    for (;;)
    {
        const ssize_t length = connection.channel->receive(chunk.data(), chunk.size());
        if (length <= 0)
        {
            return length < 0 && (errno == EAGAIN || errno == EINTR);
        }
        connection.received.append(chunk.data(), static_cast<std::size_t>(length));
    }
}

/** Reads what has come and answers every complete request; false when the connection is over. */
bool LdapResponder::serve(Connection& connection)
{
    const bool isOpen = receive(connection);
    try
    {
        while (const std::size_t size = completeMessageLength(connection.received))
        {
            LdapRequest request = decodeRequest(connection.received.substr(0, size));
            request.connection = connection.number;
            connection.received.erase(0, size);
            record(request);
            if (!answer(connection, request))
            {
                return false;
            }
        }
    }
    catch (const std::exception&)
    {
        return false; // a client whose request can't be read is cut off, as servers do
    }
    return isOpen;
}

void LdapResponder::record(const LdapRequest& request)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    requests_.push_back(request);
    changed_.notify_all();
}

bool LdapResponder::answer(Connection& connection, const LdapRequest& request)
{
    if (request.operation == Operation::Unbind)
    {
        return false;
    }
    if (request.operation == Operation::Abandon)
    {
        return true;
    }
    const auto encoded = chooseAnswer(request).encode(request);
    connection.deaf = encoded.deaf;
    if (encoded.reset)
    {
        connection.channel->resetAtEnd();
    }
    return send(*connection.channel, encoded.bytes, encoded.pause) && !encoded.drop;
}

Answer LdapResponder::chooseAnswer(const LdapRequest& request)
{
    Handler handler;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        auto& waiting = answers_[request.operation];
        if (!waiting.empty())
        {
            Answer next = waiting.front();
            waiting.pop_front();
            return next;
        }
        handler = handlers_[request.operation];
    }
    return handler ? handler(request) : Answer();
}

/** Sends everything, unless the client closes or the responder is told something else to do. */
bool LdapResponder::send(Channel& channel, const std::string& bytes, std::chrono::milliseconds pause)
{
    const bool isDripping = pause.count() > 0;
    std::size_t sent = 0;
    while (sent < bytes.size())
    {
        // Awaits the end of the connection only while it drips.
        const short events = isDripping ? POLLRDHUP : POLLOUT;
        std::array<pollfd, 2> watched{watch(wakeup_.get(), POLLIN), watch(channel.socket(), events)};
        ::poll(watched.data(), watched.size(), isDripping ? static_cast<int>(pause.count()) : -1);
        if (watched[0].revents != 0 || (isDripping && watched[1].revents != 0))
        {
            return false;
        }
        const ssize_t length = channel.send(bytes.data() + sent, isDripping ? 1 : bytes.size() - sent);
        if (length < 0 && errno != EAGAIN && errno != EINTR)
        {
            return false;
        }
        sent += length > 0 ? static_cast<std::size_t>(length) : 0;
    }
    return true;
}

} // namespace KVR::Support
