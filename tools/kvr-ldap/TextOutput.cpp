#include "Output.h"
#include "Text.h"

#include <unistd.h>

#include <algorithm>

namespace KVR::Cli
{

namespace
{

/** For people: in the locale's character set, and safe to look at. */
class TextOutput final : public Output
{
public:
    TextOutput(StandardOutput& out, const Charset& charset) : out_(out), charset_(charset) {}

    void BeginEntries(bool /*truncated*/) override {}
    void EndEntries() override {}

    void Entry(const IKVRLdapEntity& entity) override
    {
        std::string text = Separator();
        text += Attribute("dn", entity.dn);
        for (const auto& [name, value] : entity.attributes)
        {
            text += "  " + Attribute(name, value);
        }
        Print(text);
        entryBefore_ = true;
    }

    void Fact(const std::string& /*name*/, const std::string& label, const std::string& value) override
    {
        std::string start = label + ':';
        start.resize(std::max(start.size() + 1, labelWidth), ' ');
        Print(Separator() + start + (value.empty() ? "(unknown)" : Printable(value)) + '\n');
        entryBefore_ = false;
    }

    void Time(const std::string& name, const std::string& label, const std::string& value) override
    {
        Fact(name, label, LegibleTime(value));
    }

    void List(const std::string& /*name*/, const std::list<std::string>& values) override
    {
        for (const std::string& value : values)
        {
            Print(Printable(value) + '\n');
        }
    }

    void Line(const std::string& text) override { Print(OneLine(text) + '\n'); }
    void Member(const std::string& /*name*/, const Datum& /*value*/) override {}

    void Binary(const std::string& bytes) override
    {
        if (isatty(STDOUT_FILENO) != 0)
        {
            throw Failure(ExitCode::Usage, "standard output", "bytes are not written to a terminal",
                          "--out FILE takes them, or send standard output elsewhere");
        }
        out_.Write(bytes);
    }

    void Finish() override {}
    void Fail(const Failure& /*failure*/) override {}

private:
    static constexpr std::size_t labelWidth = 16;

    static std::string Attribute(const std::string& name, const std::string& value)
    {
        return Printable(name) + (value.empty() ? ":" : ": ") + Printable(value) + '\n';
    }

    std::string Separator() const { return entryBefore_ ? "\n" : ""; }

    void Print(const std::string& text) { out_.Write(charset_.FromUtf8(text)); }

    StandardOutput& out_;
    const Charset& charset_;
    bool entryBefore_ = false;
};

} // namespace

std::unique_ptr<Output> MakeTextOutput(StandardOutput& out, const Charset& charset)
{
    return std::make_unique<TextOutput>(out, charset);
}

} // namespace KVR::Cli
