#include "Ldif.h"
#include "Output.h"

namespace KVR::Cli
{

namespace
{

/** What ldapadd(1) reads. Everything that is no entry is a comment. */
class LdifOutput final : public Output
{
public:
    explicit LdifOutput(StandardOutput& out) : out_(out) {}

    void BeginEntries(bool truncated) override
    {
        Begin();
        truncated_ = truncated;
    }

    void EndEntries() override
    {
        if (truncated_)
        {
            out_.Write("\n" + Ldif::Comment("truncated: the server's size limit was reached"));
        }
    }

    void Entry(const IKVRLdapEntity& entity) override
    {
        Begin();
        out_.Write("\n" + Ldif::Line("dn", entity.dn));
        for (const auto& [name, value] : entity.attributes)
        {
            out_.Write(Ldif::IsAttributeName(name) ? Ldif::Line(name, value)
                                                   : Ldif::Comment("left out, no attribute name: " + name));
        }
    }

    void Fact(const std::string& /*name*/, const std::string& label, const std::string& value) override
    {
        Begin();
        out_.Write(Ldif::Comment(label + ": " + value));
    }

    void Time(const std::string& name, const std::string& label, const std::string& value) override
    {
        Fact(name, label, value);
    }

    void List(const std::string& name, const std::list<std::string>& values) override
    {
        for (const std::string& value : values)
        {
            Fact(name, name, value);
        }
    }

    void Line(const std::string& text) override
    {
        Begin();
        out_.Write(Ldif::Comment(text));
    }

    void Member(const std::string& /*name*/, const Datum& /*value*/) override {}

    void Binary(const std::string& bytes) override { Line(std::to_string(bytes.size()) + " bytes"); }

    void Finish() override { Begin(); }

    void Fail(const Failure& failure) override
    {
        if (begun_)
        {
            out_.Write("\n" + Ldif::Comment(std::string("incomplete: ") + failure.what()));
        }
    }

private:
    void Begin()
    {
        if (!begun_)
        {
            begun_ = true;
            out_.Write("version: 1\n");
        }
    }

    StandardOutput& out_;
    bool begun_ = false;
    bool truncated_ = false;
};

} // namespace

std::unique_ptr<Output> MakeLdifOutput(StandardOutput& out)
{
    return std::make_unique<LdifOutput>(out);
}

} // namespace KVR::Cli
