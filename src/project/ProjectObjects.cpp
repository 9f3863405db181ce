// The objects of a project and their parts: Bambu Studio's model settings
// (parts by the component that places them) and PrusaSlicer's model config
// (parts by triangle range of the object's mesh).
#include "project/ConfigXml.h"
#include "project/ProjectConfig.h"

#include "common/StringConversion.h"

#include <algorithm>
#include <charconv>

namespace format3mf::project
{
// The project's readers build on the model's classes.
using namespace Format_3MF;

namespace
{
// A whole decimal number within [low, high], else false.
template <typename T>
bool ParseInteger(std::string const* text, T low, T high, T& value)
{
    if (text == nullptr)
    {
        return false;
    }
    char const* const end = text->data() + text->size();
    auto const [stop, error] = std::from_chars(text->data(), end, value);
    return error == std::errc() && stop == end && value >= low && value <= high;
}

// The extruder that a "metadata" child gives, 0 when there is none. A value
// that is no extruder number leaves a problem.
int Extruder(ConfigElement const& element, std::wstring const& what, std::wstring& problem)
{
    std::string const* const text = element.Metadata("extruder");
    int extruder = 0;
    if (text != nullptr && !ParseInteger(text, 0, 1 << 16, extruder) && problem.empty())
    {
        problem = what + L" has the extruder \"" +
                  StringConversion::ConvertMultiByteStringToOndString(*text) +
                  L"\", which is not an extruder number";
    }
    return extruder;
}

std::wstring Name(ConfigElement const& element)
{
    std::string const* const name = element.Metadata("name");
    return name != nullptr ? StringConversion::ConvertMultiByteStringToOndString(*name) : std::wstring();
}

PartRole BambuRole(std::string const* subtype, std::wstring const& what, std::wstring& problem)
{
    static std::pair<char const*, PartRole> const kRoles[] = {
        {"normal_part", PartRole::Printable},
        {"negative_part", PartRole::NegativeVolume},
        {"modifier_part", PartRole::Modifier},
        {"support_blocker", PartRole::SupportBlocker},
        {"support_enforcer", PartRole::SupportEnforcer},
    };
    if (subtype == nullptr)
    {
        return PartRole::Printable;
    }
    for (auto const& [name, role] : kRoles)
    {
        if (*subtype == name)
        {
            return role;
        }
    }
    if (problem.empty())
    {
        problem = what + L" has the unknown subtype \"" +
                  StringConversion::ConvertMultiByteStringToOndString(*subtype) + L"\"";
    }
    return PartRole::Printable;
}

PartRole PrusaRole(ConfigElement const& volume, std::wstring const& what, std::wstring& problem)
{
    static std::pair<char const*, PartRole> const kRoles[] = {
        {"ModelPart", PartRole::Printable},
        {"NegativeVolume", PartRole::NegativeVolume},
        {"ParameterModifier", PartRole::Modifier},
        {"SupportBlocker", PartRole::SupportBlocker},
        {"SupportEnforcer", PartRole::SupportEnforcer},
    };
    std::string const* const type = volume.Metadata("volume_type");
    if (type == nullptr)
    {
        // Before volume types, modifiers were flagged alone.
        std::string const* const modifier = volume.Metadata("modifier");
        return modifier != nullptr && *modifier == "1" ? PartRole::Modifier : PartRole::Printable;
    }
    for (auto const& [name, role] : kRoles)
    {
        if (*type == name)
        {
            return role;
        }
    }
    if (problem.empty())
    {
        problem = what + L" has the unknown volume type \"" +
                  StringConversion::ConvertMultiByteStringToOndString(*type) + L"\"";
    }
    return PartRole::Printable;
}

// The root "config" element of a settings part.
std::string ParseConfig(std::string const& text, ConfigElement& root)
{
    std::string error = ParseConfigXml(text, root);
    if (error.empty() && root.name != "config")
    {
        error = "its root element is \"" + root.name + "\", not \"config\"";
    }
    return error;
}

// The identifier of a described object; false, with a message, for none.
bool ObjectId(ConfigElement const& element, int& id, std::string& error)
{
    if (!ParseInteger(element.Attribute("id"), 0, 0x7fffffff, id))
    {
        error = "an object has no identifier that is a number";
        return false;
    }
    return true;
}
} // namespace

namespace
{
// The objects of an objects' settings part. `readPart` reads what is the
// slicer's own of a child named `childName` (its identifier or triangle
// range, and its role) and gives the words that name it in messages; the
// name and the extruder are read alike. `endObject` checks an object whose
// parts are all read.
template <typename ReadPart, typename EndObject>
std::string ReadObjects(std::string const& text, ProjectConfig& config, std::string const& childName,
                        ReadPart readPart, EndObject endObject)
{
    ConfigElement root;
    std::string error = ParseConfig(text, root);
    for (ConfigElement const& element : root.children)
    {
        int id = 0;
        if (element.name != "object" || !error.empty() || !ObjectId(element, id, error))
        {
            continue;
        }
        // A second entry of one object adds its parts; a name or an extruder
        // it gives stands before the first one's.
        ObjectConfig& object = config.objects[id];
        ++object.entries;
        std::wstring const name = Name(element);
        int const extruder = Extruder(element, L"the object", object.problem);
        object.name = name.empty() ? object.name : name;
        object.extruder = extruder == 0 ? object.extruder : extruder;
        for (ConfigElement const& child : element.children)
        {
            if (child.name != childName)
            {
                continue;
            }
            PartConfig part;
            std::wstring const what = readPart(child, object, part);
            part.name = Name(child);
            if (std::string const* const matrix = child.Metadata("matrix"))
            {
                part.matrix = *matrix;
            }
            part.extruder = Extruder(child, what, object.problem);
            object.parts.push_back(std::move(part));
        }
        endObject(object);
    }
    if (!error.empty())
    {
        config.objects.clear();
    }
    return error;
}
} // namespace

std::string ReadBambuObjects(std::string const& text, ProjectConfig& config)
{
    return ReadObjects(
        text, config, "part",
        [](ConfigElement const& child, ObjectConfig& object, PartConfig& part)
        {
            std::wstring const what =
                L"part " + (child.Attribute("id")
                                ? StringConversion::ConvertMultiByteStringToOndString(*child.Attribute("id"))
                                : L"");
            if (!ParseInteger(child.Attribute("id"), 0, 0x7fffffff, part.id) && object.problem.empty())
            {
                object.problem = L"a part has no identifier that is a number";
            }
            part.role = BambuRole(child.Attribute("subtype"), what, object.problem);
            return what;
        },
        [](ObjectConfig&) {});
}

std::string ReadPrusaObjects(std::string const& text, ProjectConfig& config)
{
    config.partsByTriangleRange = true;
    return ReadObjects(
        text, config, "volume",
        [](ConfigElement const& child, ObjectConfig& object, PartConfig& part)
        {
            std::wstring const what = L"volume " + std::to_wstring(object.parts.size() + 1);
            if ((!ParseInteger(child.Attribute("firstid"), std::int64_t(0), std::int64_t(0xffffffff),
                               part.firstTriangle) ||
                 !ParseInteger(child.Attribute("lastid"), std::int64_t(0), std::int64_t(0xffffffff),
                               part.lastTriangle) ||
                 part.lastTriangle < part.firstTriangle) &&
                object.problem.empty())
            {
                object.problem = what + L" has no triangle range of numbers (firstid to lastid)";
            }
            part.role = PrusaRole(child, what, object.problem);
            return what;
        },
        [](ObjectConfig& object)
        {
            // Ranges in order, so that the parts follow the mesh.
            std::sort(object.parts.begin(), object.parts.end(),
                      [](PartConfig const& a, PartConfig const& b)
                      { return a.firstTriangle < b.firstTriangle; });
            for (std::size_t i = 1; i < object.parts.size() && object.problem.empty(); ++i)
            {
                if (object.parts[i].firstTriangle <= object.parts[i - 1].lastTriangle)
                {
                    object.problem = L"the triangle ranges of its volumes overlap (" +
                                     std::to_wstring(object.parts[i - 1].firstTriangle) + L" to " +
                                     std::to_wstring(object.parts[i - 1].lastTriangle) + L" and " +
                                     std::to_wstring(object.parts[i].firstTriangle) + L" to " +
                                     std::to_wstring(object.parts[i].lastTriangle) + L")";
                }
            }
        });
}
} // namespace format3mf::project
