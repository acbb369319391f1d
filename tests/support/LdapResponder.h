#pragma once

#include "Channel.h"
#include "LdapAnswer.h"
#include "LdapRequest.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace KVR::Support
{

/** How clients reach a responder. */
enum class Transport
{
    Tcp,
    Local, /**< ldapi */
    Tls    /**< ldaps */
};

/**
 * An LDAP server inside the test program, on a free port of 127.0.0.1 or a socket in a folder of its own.
 * It records every request and answers by script; whatever has no script is answered with success.
 *
 * A request is recorded before it is answered, so after a synchronous call of the library the
 * records are complete. Only unbind and abandon have no answer: await those.
 *
 * The script may be changed at any time and from any thread. Handlers run on the responder's own
 * thread.
 */
class LdapResponder
{
public:
    using Handler = std::function<Answer(const LdapRequest&)>;

    explicit LdapResponder(Transport transport = Transport::Tcp);
    ~LdapResponder();

    LdapResponder(const LdapResponder&) = delete;
    LdapResponder& operator=(const LdapResponder&) = delete;

    /** "127.0.0.1:port", which becomes the URI when "ldap://" stands before it. */
    std::string target() const;

    /** "ldap://127.0.0.1:port", or what it is for another transport */
    std::string uri() const;

    /** @name Script: answers in order, then the handler, then success
     * @{ */
    /** Answer to the next request of this kind that has none yet. */
    void on(Operation operation, const Answer& answer);
    void onBind(const Answer& answer) { on(Operation::Bind, answer); }
    void onSearch(const Answer& answer) { on(Operation::Search, answer); }
    void onModify(const Answer& answer) { on(Operation::Modify, answer); }
    void onAdd(const Answer& answer) { on(Operation::Add, answer); }
    void onDelete(const Answer& answer) { on(Operation::Delete, answer); }
    void onModifyDn(const Answer& answer) { on(Operation::ModifyDn, answer); }

    /** Answers every request of this kind that no single answer is waiting for. */
    void handle(Operation operation, const Handler& handler);

    /** The same answer to every request of this kind. */
    void always(Operation operation, const Answer& answer);

    /** A handler that answers by the request's DN; other DNs get success. */
    static Handler byDn(const std::map<std::string, Answer>& answers);
    /** @} */

    /** @name Records, in the order of arrival
     * @{ */
    std::vector<LdapRequest> requests() const;
    std::vector<LdapRequest> requests(Operation operation) const;
    std::vector<Operation> operations() const;

    /** The only request so far of this kind. @throws std::runtime_error when there is not one */
    LdapRequest only(Operation operation) const;

    /** Number of connections accepted since the start. */
    int connections() const;

    /** Forgets the requests; the script stays. */
    void clear();
    /** @} */

    /** @name Waiting, without end only as far as the test program has no time limit
     * @{ */
    /** Until there are as many requests of this kind; false after ten seconds. */
    [[nodiscard]] bool await(Operation operation, std::size_t count = 1) const;

    /** Until every client has closed its connection; false after ten seconds. */
    [[nodiscard]] bool awaitNoConnection() const;
    /** @} */

    /** Closes all connections and takes new ones. */
    void dropConnections();

    /** Closes all connections and the port. */
    void stop();

private:
    struct Connection
    {
        int number = 0;
        std::unique_ptr<Channel> channel;
        std::string received;
        bool deaf = false;
    };

    void listenOnPath();
    void run();
    void accept();
    bool serve(Connection& connection);
    bool answer(Connection& connection, const LdapRequest& request);
    Answer chooseAnswer(const LdapRequest& request);
    bool send(Channel& channel, const std::string& bytes, std::chrono::milliseconds pause);
    bool receive(Connection& connection);
    void record(const LdapRequest& request);
    void obeyCommands();
    void wake() const;

    const Transport transport_;
    int port_ = 0;
    std::string folder_; /**< of the socket */
    Descriptor listener_;
    Descriptor wakeup_;

    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<LdapRequest> requests_;
    std::map<Operation, std::deque<Answer>> answers_;
    std::map<Operation, Handler> handlers_;
    int accepted_ = 0;
    std::size_t open_ = 0;
    bool dropping_ = false;
    bool stopping_ = false;

    std::vector<Connection> connections_; // the responder's thread only
    std::thread thread_;
};

} // namespace KVR::Support
