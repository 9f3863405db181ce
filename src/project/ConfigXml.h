// The small XML parts of slicer projects (model settings, object volumes) as
// a tree of elements, parsed by expat.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace format3mf::project
{
struct ConfigElement
{
    std::string name;
    std::vector<std::pair<std::string, std::string>> attributes;
    std::vector<ConfigElement> children;

    // The value of an attribute, or null when the element has none of that name.
    std::string const* Attribute(std::string_view attribute) const;
    // The "value" of the child "metadata" whose "key" is `key`, or null.
    std::string const* Metadata(std::string_view key) const;
};

// Parses `text` into `root`. Returns an empty string on success, else what
// is wrong with the XML, with its line. Documents with a document type
// declaration are refused, and so is nesting deeper than any settings need.
std::string ParseConfigXml(std::string_view text, ConfigElement& root);
} // namespace format3mf::project
