#include "../Commands.h"
#include "../ExpectedTree.h"
#include "../LdifPlan.h"
#include "../LocalFile.h"
#include "../Lookup.h"
#include "../Progress.h"

#include <IKVRLdapConnection.h>
#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>

#include <algorithm>
#include <streambuf>

namespace KVR::Cli
{

namespace
{

using Ldif::ChangeType;
using Ldif::PlannedChange;

constexpr long sizeLimitExceeded = 4;

struct LoadArguments
{
    std::string file;
    bool continueOnError = false;
};

/** Reads a text where it is. */
class TextBuffer : public std::streambuf
{
public:
    explicit TextBuffer(std::string& text) { setg(text.data(), text.data(), text.data() + text.size()); }
};

/** Below an entry: who is there, and whether the server left some out. */
struct Children
{
    std::vector<std::string> keys; /**< of their RDNs */
    bool truncated = false;
};

Children childrenOf(IKVRLdapConnection& connection, const std::string& dn, alSCOPE scope)
{
    std::list<std::string> attributes{noAttributes};
    const auto query = connection.Search(dn, everyEntry, attributes, scope);
    Children children;
    if (!query)
    {
        return children;
    }
    children.truncated = connection.GetLastError() == sizeLimitExceeded;
    std::shared_ptr<IKVRLdapEntity> entity;
    while (query->Fetch(entity))
    {
        const std::optional<Dn> child = ParseDn(entity->dn);
        children.keys.push_back(child && !child->empty() ? child->front().key : entity->dn);
    }
    return children;
}

/** True when the server itself answered, so that the next request may go well. */
bool isAnswer(ExitCode kind)
{
    return kind == ExitCode::Refused || kind == ExitCode::NotFound || kind == ExitCode::NoAccess;
}

/** One run of the command. */
class Load
{
public:
    Load(Context& context, const LoadArguments& arguments)
        : context_(context),
          arguments_(arguments),
          file_(arguments.file == "-" ? "standard input"
                                      : context.charset.ToUtf8(arguments.file).value_or(arguments.file)),
          progress_(std::chrono::steady_clock::now, context.quiet ? nullptr : Progress::ToTerminal())
    {
    }

    void Run()
    {
        Read();
        RefuseObjections();
        StopIfRefused();
        if (!changes_.empty())
        {
            CheckDeletes();
            StopIfRefused();
            Send();
        }
        TellSummary();
        if (!refused_.empty())
        {
            throw Failure(ExitCode::Refused, file_, Share() + " were refused");
        }
    }

private:
    void Read()
    {
        std::string content = LocalFile::Read(arguments_.file, context_.charset);
        TextBuffer buffer(content);
        std::istream input(&buffer);
        try
        {
            Ldif::Reader reader(input);
            for (Ldif::Record record; reader.Next(record);)
            {
                changes_.push_back(Ldif::PlanChange(record));
                progress_.Tell("read", changes_.size(), 0);
            }
        }
        catch (const Ldif::FormatError& error)
        {
            throw Failure(ExitCode::Unusable, file_ + ':' + std::to_string(error.line), error.what(),
                          "nothing was sent");
        }
    }

    void RefuseObjections()
    {
        for (const PlannedChange& change : changes_)
        {
            if (change.objection)
            {
                Refuse(change, Failure(ExitCode::Unusable, Place(change, change.objection->line),
                                       change.objection->reason, change.objection->advice));
            }
        }
    }

    /** Ends the run before anything is sent. */
    void StopIfRefused()
    {
        if (refused_.empty() || arguments_.continueOnError)
        {
            return;
        }
        TellSummary();
        throw Failure(firstKind_, file_, "nothing was sent: " + Share() + " can't be applied",
                      refused_.size() < changes_.size() ? "--continue-on-error applies the others" : "");
    }

    /** The plug-in would delete the children too, LDIF deletes an entry that has none. */
    void CheckDeletes()
    {
        const auto isDelete = [](const PlannedChange& change) { return change.type == ChangeType::Delete; };
        if (std::none_of(changes_.begin(), changes_.end(), isDelete))
        {
            return;
        }
        ExpectedTree tree;
        std::size_t done = 0;
        for (PlannedChange& change : changes_)
        {
            progress_.Tell("checked", done++, changes_.size());
            if (change.objection)
            {
                continue;
            }
            const Dn dn = ParseDn(change.dn).value();
            if (isDelete(change) && !CheckDelete(change, dn, tree))
            {
                continue;
            }
            Expect(change, dn, tree);
        }
    }

    static void Expect(const PlannedChange& change, const Dn& dn, ExpectedTree& tree)
    {
        switch (change.type)
        {
        case ChangeType::Add:
            tree.Add(dn);
            break;
        case ChangeType::Delete:
            tree.Delete(dn);
            break;
        case ChangeType::Rename:
            tree.Rename(dn, ParseDn(change.newRdn).value().front());
            break;
        case ChangeType::Modify:
            break;
        }
    }

    /** False when the record is refused. */
    bool CheckDelete(PlannedChange& change, const Dn& dn, ExpectedTree& tree)
    {
        IKVRLdapConnection& connection = context_.session.Connection();
        try
        {
            // Children beyond the size limit may be deleted by the file too: that shows later.
            const std::optional<std::string> name = tree.PresentName(dn);
            const Children present = name ? childrenOf(connection, *name, alSCOPE_ONE) : Children();
            if (!tree.HasChildren(dn, present.keys))
            {
                return true;
            }
            throw HasChildren(change);
        }
        catch (const std::exception&)
        {
            const Failure failure = Describe(change);
            if (!isAnswer(failure.exitCode))
            {
                throw Failure(failure);
            }
            change.objection = Ldif::Objection{change.line, failure.what(), failure.advice};
            Refuse(change, failure);
            return false;
        }
    }

    void Send()
    {
        std::size_t done = 0;
        for (const PlannedChange& change : changes_)
        {
            progress_.Tell("applied", done++, changes_.size());
            if (change.objection)
            {
                continue;
            }
            try
            {
                Apply(change);
                ++applied_[change.type];
            }
            catch (const std::exception&)
            {
                const Failure failure = Describe(change);
                if (!arguments_.continueOnError || !isAnswer(failure.exitCode))
                {
                    progress_.Clear();
                    Remember(change, failure);
                    TellSummary();
                    throw Failure(failure);
                }
                Refuse(change, failure);
            }
        }
    }

    void Apply(const PlannedChange& change)
    {
        IKVRLdapConnection& connection = context_.session.Connection();
        std::multimap<std::string, std::string> attributes;
        for (const auto& [name, value] : change.attributes)
        {
            attributes.emplace(name, value);
        }
        switch (change.type)
        {
        case ChangeType::Add:
            connection.AddDN(change.dn, attributes);
            break;
        case ChangeType::Modify:
            connection.UpdateDN(change.dn, attributes);
            break;
        case ChangeType::Rename:
            connection.RenameDN(change.dn, change.newRdn);
            break;
        case ChangeType::Delete:
            RequireLeaf(change, connection);
            connection.DeleteDN(change.dn);
            break;
        }
    }

    /** The last look: all levels, since the operation deletes what it sees on any of them. */
    void RequireLeaf(const PlannedChange& change, IKVRLdapConnection& connection) const
    {
        const Children present = childrenOf(connection, change.dn, alSCOPE_CHILDREN);
        if (!present.keys.empty() || present.truncated)
        {
            throw HasChildren(change);
        }
    }

    Failure HasChildren(const PlannedChange& change) const
    {
        return {ExitCode::Refused, Place(change, change.line), "the entry has children",
                "delete them by records before this one"};
    }

    std::string Place(const PlannedChange& change, std::size_t line) const
    {
        return file_ + ':' + std::to_string(line) + ": " + change.dn;
    }

    Failure Describe(const PlannedChange& change) const
    {
        return DescribeException(Place(change, change.line), context_.session.OpenConnection(),
                                 context_.withPlace);
    }

    void Remember(const PlannedChange& change, const Failure& failure)
    {
        if (refused_.empty())
        {
            firstKind_ = failure.exitCode;
        }
        Row row = {
            {"line", static_cast<std::int64_t>(change.objection ? change.objection->line : change.line)},
            {"dn", change.dn},
            {"message", failure.what()},
            {"resultCode", std::monostate()}};
        if (failure.resultCode)
        {
            row.back().second = std::int64_t{*failure.resultCode};
        }
        refused_.push_back(row);
    }

    void Refuse(const PlannedChange& change, const Failure& failure)
    {
        Remember(change, failure);
        progress_.Clear();
        context_.messages.Report(failure);
    }

    /** "2 of 5 records" */
    std::string Share() const
    {
        return std::to_string(refused_.size()) + " of " + std::to_string(changes_.size()) +
               (changes_.size() == 1 ? " record" : " records");
    }

    void TellSummary()
    {
        progress_.Clear();
        std::size_t left = changes_.size() - refused_.size();
        for (const auto& [type, number] : applied_)
        {
            left -= number;
        }
        std::stable_sort(refused_.begin(), refused_.end(),
                         [](const Row& one, const Row& other)
                         { return one.front().second < other.front().second; });
        context_.output.Member("file", file_);
        std::string line;
        const auto tell = [&](const char* member, const char* label, std::size_t number)
        {
            line += (line.empty() ? "" : ", ") + std::string(label) + ' ' + std::to_string(number);
            if (label != std::string("refused"))
            {
                context_.output.Member(member, number);
            }
        };
        tell("added", "added", applied_[ChangeType::Add]);
        tell("changed", "changed", applied_[ChangeType::Modify]);
        tell("renamed", "renamed", applied_[ChangeType::Rename]);
        tell("deleted", "deleted", applied_[ChangeType::Delete]);
        tell("refused", "refused", refused_.size());
        tell("notTried", "not tried", left);
        context_.output.Member("refused", refused_);
        context_.output.Line(line);
    }

    Context& context_;
    const LoadArguments& arguments_;
    const std::string file_; /**< its name for messages */
    Progress progress_;
    std::vector<PlannedChange> changes_;
    std::map<ChangeType, std::size_t> applied_;
    std::vector<Row> refused_;
    ExitCode firstKind_ = ExitCode::Refused; /**< of the first that was refused */
};

} // namespace

void AddLoadCommand(CommandTable& table)
{
    const auto arguments = std::make_shared<LoadArguments>();
    CLI::App& command =
        table.Add({"load", "Apply the adds, modifies, renames and deletes of an LDIF file",
                   "  kvr-ldap load changes.ldif\n"
                   "  kvr-ldap load people.ldif --continue-on-error --output json\n"
                   "  kvr-ldap search dc=example,dc=com --output ldif | kvr-ldap --uri "
                   "ldap://srv2.example.com load -\n"},
                  LdifForm::None, [arguments](Context& context) { Load(context, *arguments).Run(); });
    AddArgument(command, "FILE", arguments->file, "LDIF in UTF-8; '-' is the standard input").required();
    command.add_flag("--continue-on-error", arguments->continueOnError,
                     "apply the other records when one is refused; the exit code is 1 then");
}

} // namespace KVR::Cli
