#include "JsonValue.h"
#include "Output.h"
#include "Text.h"

namespace KVR::Cli
{

namespace
{

constexpr int schemaVersion = 1;

struct ToDocument
{
    Document operator()(const std::string& text) const { return JsonValue(text); }
    Document operator()(bool truth) const { return truth; }
    Document operator()(std::uint64_t number) const { return number; }
    Document operator()(const std::list<std::string>& texts) const
    {
        Document list = Document::array();
        for (const std::string& text : texts)
        {
            list.push_back(JsonValue(text));
        }
        return list;
    }
    Document operator()(std::monostate /*unknown*/) const { return {}; }
    Document operator()(std::int64_t number) const { return number; }
    Document operator()(const std::vector<Row>& rows) const
    {
        Document list = Document::array();
        for (const Row& row : rows)
        {
            Document object = Document::object();
            for (const auto& [name, value] : row)
            {
                object[name] = std::visit(*this, value);
            }
            list.push_back(object);
        }
        return list;
    }
};

Document attributesOf(const IKVRLdapEntity& entity)
{
    Document attributes = Document::object();
    for (const auto& [name, value] : entity.attributes)
    {
        attributes[IsUtf8(name) ? name : Printable(name)].push_back(JsonValue(value));
    }
    return attributes;
}

Document entryOf(const IKVRLdapEntity& entity)
{
    return Document{{"dn", JsonValue(entity.dn)}, {"attributes", attributesOf(entity)}};
}

/**
 * One object, written piece by piece so that a large answer is not kept a second time. Whatever
 * happens on the way, Finish or Fail make it complete.
 */
class JsonOutput final : public Output
{
public:
    JsonOutput(const std::string& command, StandardOutput& out) : command_(command), out_(out) {}

    void BeginEntries(bool truncated) override
    {
        Write("truncated", truncated);
        Key("entries");
        out_.Write("[");
        inEntries_ = true;
    }

    void EndEntries() override
    {
        out_.Write(entries_ > 0 ? "\n  ]" : "]");
        inEntries_ = false;
        Write("count", entries_);
    }

    void Entry(const IKVRLdapEntity& entity) override
    {
        if (!inEntries_)
        {
            Write("entry", entryOf(entity));
            return;
        }
        out_.Write((entries_ > 0 ? ",\n    " : "\n    ") + JsonText(entryOf(entity)));
        ++entries_;
    }

    void Fact(const std::string& name, const std::string& /*label*/, const std::string& value) override
    {
        Write(name, value.empty() ? Document() : JsonValue(value));
    }

    void Time(const std::string& name, const std::string& label, const std::string& value) override
    {
        Fact(name, label, value);
    }

    void List(const std::string& name, const std::list<std::string>& values) override
    {
        Member(name, values);
    }

    void Line(const std::string& /*text*/) override {}

    void Member(const std::string& name, const Datum& value) override
    {
        Write(name, std::visit(ToDocument(), value));
    }

    void Binary(const std::string& bytes) override
    {
        Member("size", bytes.size());
        Member("base64", Base64(bytes));
    }

    void Finish() override
    {
        Begin();
        out_.Write("\n}\n");
    }

    void Fail(const Failure& failure) override
    {
        if (inEntries_)
        {
            EndEntries();
        }
        Document error = {{"exitCode", static_cast<int>(failure.exitCode)},
                          {"kind", KindOf(failure.exitCode)},
                          {"resultCode", failure.resultCode ? Document(*failure.resultCode) : Document()},
                          {"subject", JsonValue(failure.subject)},
                          {"message", JsonValue(failure.what())}};
        Write("error", error);
        Finish();
    }

private:
    void Begin()
    {
        if (!begun_)
        {
            begun_ = true;
            out_.Write("{\n  \"schemaVersion\": " + std::to_string(schemaVersion));
            Write("command", command_);
        }
    }

    void Key(const std::string& name)
    {
        Begin();
        out_.Write(",\n  " + JsonText(name) + ": ");
    }

    void Write(const std::string& name, const Document& value)
    {
        Key(name);
        out_.Write(JsonText(value));
    }

    std::string command_;
    StandardOutput& out_;
    std::size_t entries_ = 0;
    bool begun_ = false;
    bool inEntries_ = false;
};

} // namespace

std::unique_ptr<Output> MakeJsonOutput(const std::string& command, StandardOutput& out)
{
    return std::make_unique<JsonOutput>(command, out);
}

} // namespace KVR::Cli
