#include "LdapResponder.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
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

Descriptor::~Descriptor()
{
    if (number_ >= 0)
    {
        ::close(number_);
    }
}

Descriptor::Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept
{
    std::swap(number_, other.number_);
    return *this;
}

LdapResponder::LdapResponder()
    : listener_(checked(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket")),
      wakeup_(checked(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd"))
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    checked(::bind(listener_.get(), generic, size), "bind");
    checked(::listen(listener_.get(), SOMAXCONN), "listen");
    checked(::getsockname(listener_.get(), generic, &size), "getsockname");
    port_ = ntohs(address.sin_port);

    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN; // NOLINT(performance-no-int-to-ptr): the C library's own constant
    checked(::sigaction(SIGPIPE, &ignore, &formerSigpipe_), "sigaction");
    thread_ = std::thread(&LdapResponder::run, this);
}

LdapResponder::~LdapResponder()
{
    stop();
    ::sigaction(SIGPIPE, &formerSigpipe_, nullptr);
}

std::string LdapResponder::target() const
{
    return "127.0.0.1:" + std::to_string(port_);
}

std::string LdapResponder::uri() const
{
    return "ldap://" + target();
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
            watched.push_back(watch(connection.socket.get(), POLLIN));
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
    const std::lock_guard<std::mutex> lock(mutex_);
    accepted_++;
    open_++;
    connections_.push_back({accepted_, std::move(socket), {}});
}

/** Reads what has come and answers every complete request; false when the connection is over. */
bool LdapResponder::serve(Connection& connection)
{
    std::array<char, 65536> chunk{};
    const ssize_t length = ::recv(connection.socket.get(), chunk.data(), chunk.size(), MSG_DONTWAIT);
    if (length <= 0)
    {
        return length < 0 && (errno == EAGAIN || errno == EINTR);
    }
    connection.received.append(chunk.data(), static_cast<std::size_t>(length));
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
    return true;
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
    return send(connection.socket.get(), encoded.bytes) && !encoded.drop;
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
bool LdapResponder::send(int socket, const std::string& bytes)
{
    std::size_t sent = 0;
    while (sent < bytes.size())
    {
        std::array<pollfd, 2> watched{watch(wakeup_.get(), POLLIN), watch(socket, POLLOUT)};
        ::poll(watched.data(), watched.size(), -1);
        if (watched[0].revents != 0)
        {
            return false;
        }
        const ssize_t length =
            ::send(socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (length < 0 && errno != EAGAIN && errno != EINTR)
        {
            return false;
        }
        sent += length > 0 ? static_cast<std::size_t>(length) : 0;
    }
    return true;
}

} // namespace KVR::Support
