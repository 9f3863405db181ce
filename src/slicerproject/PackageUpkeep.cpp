// Content types and relationships edited in place, every other byte of their
// parts kept.
#include "slicerproject/PackageUpkeep.h"

#include "slicerproject/EntryStore.h"
#include "slicerproject/ProjectView.h"
#include "slicerproject/XmlOutline.h"

#include <algorithm>
#include <cctype>
#include <set>

namespace format3mf::slicerproject
{
namespace
{
std::string Lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    return text;
}

std::string ContentTypeOf(std::string const& extension)
{
    static std::pair<char const*, char const*> const kTypes[] = {
        {"png", "image/png"},
        {"jpg", "image/jpeg"},
        {"jpeg", "image/jpeg"},
        {"model", "application/vnd.ms-package.3dmanufacturing-3dmodel+xml"},
        {"rels", "application/vnd.openxmlformats-package.relationships+xml"},
        {"xml", "application/xml"},
        {"json", "application/json"},
        {"gcode", "text/x.gcode"},
    };
    for (auto const& [known, type] : kTypes)
    {
        if (extension == known)
        {
            return type;
        }
    }
    return "application/octet-stream";
}

// A relationship's target as an entry name, relative ones taken from the
// folder of the part that `relationships` describes.
std::string ResolveTarget(std::string const& relationships, std::string const& target)
{
    if (!target.empty() && target.front() == '/')
    {
        return target.substr(1);
    }
    std::size_t const rels = relationships.rfind("_rels/");
    std::string folder = rels == std::string::npos ? std::string() : relationships.substr(0, rels);
    std::string path = folder + target;
    // "a/../b" and "./b" as a reader resolves them.
    std::vector<std::string> segments;
    std::size_t start = 0;
    while (start <= path.size())
    {
        std::size_t const end = std::min(path.find('/', start), path.size());
        std::string const segment = path.substr(start, end - start);
        if (segment == "..")
        {
            if (!segments.empty())
            {
                segments.pop_back();
            }
        }
        else if (!segment.empty() && segment != ".")
        {
            segments.push_back(segment);
        }
        start = end + 1;
    }
    std::string resolved;
    for (std::string const& segment : segments)
    {
        resolved += (resolved.empty() ? "" : "/") + segment;
    }
    return resolved;
}
} // namespace

std::string RelationshipsOf(std::string const& part)
{
    std::size_t const slash = part.rfind('/');
    std::string const folder = slash == std::string::npos ? std::string() : part.substr(0, slash + 1);
    std::string const file = slash == std::string::npos ? part : part.substr(slash + 1);
    return folder + "_rels/" + file + ".rels";
}

void EnsureContentType(EntryStore& store, std::string const& name)
{
    if (name == kContentTypes || !store.Has(kContentTypes))
    {
        return;
    }
    std::size_t const slash = name.rfind('/');
    std::size_t const dot = name.rfind('.');
    bool const hasExtension =
        dot != std::string::npos && (slash == std::string::npos || dot > slash) && dot + 1 < name.size();
    std::string const extension = hasExtension ? Lower(name.substr(dot + 1)) : std::string();
    std::string const text = store.Read(kContentTypes);
    std::vector<OutlineElement> const outline = OutlineXml(text, kContentTypes, 1);
    for (OutlineElement const& element : outline)
    {
        std::string const* const defaultFor = element.Attribute("Extension");
        std::string const* const part = element.Attribute("PartName");
        if ((element.LocalName() == "Default" && defaultFor != nullptr && hasExtension &&
             Lower(*defaultFor) == extension) ||
            (element.LocalName() == "Override" && part != nullptr && Lower(*part) == Lower("/" + name)))
        {
            return;
        }
    }
    std::string const element = hasExtension ? "<Default Extension=\"" + EscapeXml(extension) +
                                                   "\" ContentType=\"" + ContentTypeOf(extension) + "\"/>"
                                             : "<Override PartName=\"/" + EscapeXml(name) +
                                                   "\" ContentType=\"application/octet-stream\"/>";
    store.Write(kContentTypes, ApplySplices(text, {InsertionInto(text, outline.front(), element)}));
}

void ForgetEntry(EntryStore& store, std::string const& name)
{
    for (ProjectEntry const& entry : store.List())
    {
        bool const relationships =
            entry.name.size() > 5 && entry.name.compare(entry.name.size() - 5, 5, ".rels") == 0;
        if (!relationships && entry.name != kContentTypes)
        {
            continue;
        }
        std::string const text = store.Read(entry.name);
        std::vector<XmlSplice> removals;
        for (OutlineElement const& element : OutlineXml(text, entry.name, 1))
        {
            std::string const* const target = element.Attribute("Target");
            std::string const* const part = element.Attribute("PartName");
            if (element.depth == 1 && ((relationships && element.LocalName() == "Relationship" &&
                                        target != nullptr && ResolveTarget(entry.name, *target) == name) ||
                                       (!relationships && element.LocalName() == "Override" &&
                                        part != nullptr && Lower(*part) == Lower("/" + name))))
            {
                removals.push_back(RemovalOf(text, element));
            }
        }
        if (!removals.empty())
        {
            store.Write(entry.name, ApplySplices(text, removals));
        }
    }
    std::string const own = RelationshipsOf(name);
    if (store.Has(own))
    {
        store.Remove(own);
    }
}

void AddRelationship(EntryStore& store, std::string const& relationships, std::string const& target,
                     std::string const& type)
{
    std::string text = store.ReadIfThere(relationships);
    if (text.empty())
    {
        text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Relationships "
               "xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">\n</Relationships>\n";
        EnsureContentType(store, relationships);
    }
    std::vector<OutlineElement> const outline = OutlineXml(text, relationships, 1);
    std::set<std::string> ids;
    for (OutlineElement const& element : outline)
    {
        if (std::string const* const id = element.Attribute("Id"))
        {
            ids.insert(*id);
        }
    }
    int number = int(ids.size()) + 1;
    while (ids.count("rel-" + std::to_string(number)) != 0)
    {
        ++number;
    }
    std::string const element = "<Relationship Target=\"/" + EscapeXml(target) + "\" Id=\"rel-" +
                                std::to_string(number) + "\" Type=\"" + type + "\"/>";
    store.Write(relationships, ApplySplices(text, {InsertionInto(text, outline.front(), element)}));
}
} // namespace format3mf::slicerproject
