#pragma once

#include "LdapAnswer.h"
#include "LdapRequest.h"

#include <condition_variable>
#include <csignal>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace KVR::Support
{

/** Owner of a file descriptor. */
class Descriptor
{
public:
    explicit Descriptor(int number = -1) : number_(number) {}
    ~Descriptor();
    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&& other) noexcept;
    int get() const { return number_; }

private:
    int number_;
};

/**
 * An LDAP server inside the test program, on a free port of 127.0.0.1. It records every request and
 * answers by script; whatever has no script is answered with success.
 *
 * A request is recorded before it is answered, so after a synchronous call of the library the
 * records are complete. Only unbind and abandon have no answer: await those.
 *
 * The script may be changed at any time and from any thread. Handlers run on the responder's own
 * thread. While it lives, SIGPIPE is ignored: a dropped connection would end the test program.
 */
class LdapResponder
{
public:
    using Handler = std::function<Answer(const LdapRequest&)>;

    LdapResponder();
    ~LdapResponder();

    LdapResponder(const LdapResponder&) = delete;
    LdapResponder& operator=(const LdapResponder&) = delete;

    /** "127.0.0.1:port", which becomes the URI when "ldap://" stands before it. */
    std::string target() const;

    /** "ldap://127.0.0.1:port" */
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
        Descriptor socket;
        std::string received;
    };

    void run();
    void accept();
    bool serve(Connection& connection);
    bool answer(Connection& connection, const LdapRequest& request);
    Answer chooseAnswer(const LdapRequest& request);
    bool send(int socket, const std::string& bytes);
    void record(const LdapRequest& request);
    void obeyCommands();
    void wake() const;

    int port_ = 0;
    Descriptor listener_;
    Descriptor wakeup_;
    struct sigaction formerSigpipe_ = {};

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
