// The model settings of a project edited as an element tree (the objects'
// and parts' names and extruders, an object's entries removed) and written
// back as XML.
#include "slicerproject/FilamentLists.h"
#include "slicerproject/ProjectEdits.h"
#include "slicerproject/XmlOutline.h"

#include <algorithm>
#include <cstdlib>

namespace format3mf::slicerproject
{
namespace
{
using project::ConfigElement;

// Whether `value` is the number, written as the slicers write ids.
bool IsNumber(std::string const* value, int number)
{
    if (value == nullptr || value->empty())
    {
        return false;
    }
    char* end = nullptr;
    long const read = std::strtol(value->c_str(), &end, 10);
    return end == value->c_str() + value->size() && read == number;
}

bool HasNumber(ConfigElement const& element, std::string_view attribute, int number)
{
    return IsNumber(element.Attribute(attribute), number);
}

ConfigElement* Child(ConfigElement& element, std::string_view name, int id)
{
    for (ConfigElement& child : element.children)
    {
        if (child.name == name && HasNumber(child, "id", id))
        {
            return &child;
        }
    }
    return nullptr;
}

ConfigElement& Object(ConfigElement& config, int objectId)
{
    ConfigElement* const object = Child(config, "object", objectId);
    if (object == nullptr)
    {
        throw ProjectError("The model settings have no object " + std::to_string(objectId));
    }
    return *object;
}

// PrusaSlicer's objects hold volumes and type their metadata; the Bambu
// family's hold parts.
bool PrusaObject(ConfigElement const& object)
{
    return std::any_of(object.children.begin(), object.children.end(),
                       [](ConfigElement const& child) {
                           return child.name == "volume" ||
                                  (child.name == "metadata" && child.Attribute("type") != nullptr);
                       });
}

ConfigElement& Part(ConfigElement& object, int objectId, int partId)
{
    if (PrusaObject(object))
    {
        int number = 0;
        for (ConfigElement& child : object.children)
        {
            if (child.name == "volume" && ++number == partId)
            {
                return child;
            }
        }
        throw ProjectError("Object " + std::to_string(objectId) + " has no volume " + std::to_string(partId) +
                           ": it has " + std::to_string(number) + " (they count from 1)");
    }
    ConfigElement* const part = Child(object, "part", partId);
    if (part == nullptr)
    {
        throw ProjectError("Object " + std::to_string(objectId) + " has no part " + std::to_string(partId) +
                           " in the model settings");
    }
    return *part;
}

void SetAttribute(ConfigElement& element, std::string const& name, std::string const& value)
{
    for (auto& [attribute, current] : element.attributes)
    {
        if (attribute == name)
        {
            current = value;
            return;
        }
    }
    element.attributes.emplace_back(name, value);
}

// Sets the "metadata" child of `key`, or adds one after the element's other
// metadata, typed as PrusaSlicer types it (`type` empty for the Bambu
// family).
void SetMetadata(ConfigElement& element, std::string const& type, std::string const& key,
                 std::string const& value)
{
    auto after = element.children.begin();
    for (auto child = element.children.begin(); child != element.children.end(); ++child)
    {
        if (child->name != "metadata")
        {
            continue;
        }
        std::string const* const name = child->Attribute("key");
        if (name != nullptr && *name == key)
        {
            SetAttribute(*child, "value", value);
            return;
        }
        after = child + 1;
    }
    ConfigElement metadata;
    metadata.name = "metadata";
    if (!type.empty())
    {
        metadata.attributes.emplace_back("type", type);
    }
    metadata.attributes.emplace_back("key", key);
    metadata.attributes.emplace_back("value", value);
    element.children.insert(after, std::move(metadata));
}

void Write(std::string& out, ConfigElement const& element, std::size_t depth)
{
    out.append(2 * depth, ' ');
    out += '<' + element.name;
    for (auto const& [name, value] : element.attributes)
    {
        CheckXmlText(value, "The attribute \"" + name + "\" of a <" + element.name + "> element");
        out += ' ' + name + "=\"";
        out += EscapeXml(value);
        out += '"';
    }
    if (element.children.empty())
    {
        out += "/>\n";
        return;
    }
    out += ">\n";
    for (ConfigElement const& child : element.children)
    {
        Write(out, child, depth + 1);
    }
    out.append(2 * depth, ' ');
    out += "</" + element.name + ">\n";
}
} // namespace

void SetObjectExtruder(ConfigElement& config, int objectId, int extruder, std::optional<int> partId)
{
    ConfigElement& object = Object(config, objectId);
    bool const prusa = PrusaObject(object);
    ConfigElement& target = partId.has_value() ? Part(object, objectId, *partId) : object;
    // A part's 0 leaves it to its object's filament.
    if (extruder < (partId.has_value() ? 0 : 1))
    {
        throw ProjectError("Extruder " + std::to_string(extruder) + " of object " + std::to_string(objectId) +
                           " is not a filament: filaments count from 1" +
                           (partId.has_value() ? " (0 gives a part its object's)" : ""));
    }
    SetMetadata(target, prusa ? (partId.has_value() ? "volume" : "object") : "", "extruder",
                std::to_string(extruder));
}

void RenameObject(ConfigElement& config, int objectId, std::string const& name)
{
    ConfigElement& object = Object(config, objectId);
    CheckXmlText(name, "The name for object " + std::to_string(objectId));
    SetMetadata(object, PrusaObject(object) ? "object" : "", "name", name);
}

// In the Bambu family, each plate places its objects by "model_instance"
// entries and the assembly view by "assemble_item" entries, both naming the
// object's id.
void RemoveObjectSettings(ConfigElement& config, int objectId)
{
    ConfigElement& object = Object(config, objectId);
    config.children.erase(config.children.begin() + (&object - config.children.data()));
    auto const erase = [](ConfigElement& parent, auto const& names)
    {
        parent.children.erase(std::remove_if(parent.children.begin(), parent.children.end(), names),
                              parent.children.end());
    };
    for (ConfigElement& child : config.children)
    {
        if (child.name == "plate")
        {
            erase(child,
                  [&](ConfigElement const& instance) {
                      return instance.name == "model_instance" &&
                             IsNumber(instance.Metadata("object_id"), objectId);
                  });
        }
        else if (child.name == "assemble")
        {
            erase(child, [&](ConfigElement const& item)
                  { return item.name == "assemble_item" && HasNumber(item, "object_id", objectId); });
        }
    }
}

std::string WriteConfigXml(ConfigElement const& config)
{
    std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    Write(out, config, 0);
    return out;
}
} // namespace format3mf::slicerproject
