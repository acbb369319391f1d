#include "Output.h"
#include "Text.h"

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
        text += Line("dn", entity.dn);
        for (const auto& [name, value] : entity.attributes)
        {
            text += "  " + Line(name, value);
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

    void Finish() override {}
    void Fail(const Failure& /*failure*/) override {}

private:
    static constexpr std::size_t labelWidth = 16;

    static std::string Line(const std::string& name, const std::string& value)
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
