// The writer of the materials extension's elements and of the core's base
// materials.
#include "materials/MaterialsWrite.h"

#include "format3mf/ColorText.h"
#include "format3mf/FormatIdentifiers.h"
#include "format3mf/Materials.h"
#include "format3mf/ModelFile.h"

#include "common/IncrementalProgressReporter.h"
#include "common/StringConversion.h"
#include "sax/SAXWriter.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <string_view>
#include <vector>

namespace Format_3MF
{
namespace
{
// A decimal into a caller's buffer, without allocating.
std::string_view Decimal(char (&text)[16], int value)
{
    char* const end = std::to_chars(text, text + sizeof text, value).ptr;
    return std::string_view(text, static_cast<std::size_t>(end - text));
}

// What a wide string stream prints for a float in its default format: six
// significant digits, as "%g" does ("0.123457", "1e-05"). A coordinate that
// is not a number (an application's mesh may hold one) is written as 0: a
// reader refuses "nan" and "inf".
std::string_view Coordinate(char (&text)[32], float value)
{
    value = std::isfinite(value) ? value : 0.0f;
    int const length = std::snprintf(text, sizeof text, "%g", static_cast<double>(value));
    return std::string_view(text, static_cast<std::size_t>(length));
}

// Decimals separated by single blanks.
template <typename List>
std::string const& JoinDecimals(std::string& text, List const& values)
{
    text.clear();
    char buffer[16];
    for (auto const& value : values)
    {
        if (!text.empty())
        {
            text += ' ';
        }
        text += Decimal(buffer, int(value));
    }
    return text;
}
} // namespace

MaterialsWrite::MaterialsWrite(PackageWriteContext* context, Materials const* materials,
                               std::shared_ptr<OndSDK::Common::IProgressDelegate> progress)
    : XMLWriteHandler(context), m_materials(materials),
      m_prefix(materials->m_modelFile->GetPrefix(NamespaceMaterial)), m_progress(std::move(progress))
{
}

std::string MaterialsWrite::_Prefixed(char const* name) const
{
    return StringConversion::ConvertNativeToUTF8(m_prefix) + ":" + name;
}

bool MaterialsWrite::Write(MSAXWriter& writer) const
{
    OndSDK::Common::IncrementalProgressReporter reporter(m_progress, "MaterialsWrite::Write", 1, true);
    using Step = void (MaterialsWrite::*)(MSAXWriter&) const;
    static Step const steps[] = {&MaterialsWrite::_WriteBaseMaterials, &MaterialsWrite::_WriteTextures,
                                 &MaterialsWrite::_WriteColorGroups, &MaterialsWrite::_WriteTextureGroups,
                                 &MaterialsWrite::_WriteMultiProperties};
    for (Step const step : steps)
    {
        (this->*step)(writer);
        if (reporter.IsCancelled())
        {
            return true;
        }
    }
    ++reporter;
    return true;
}

void MaterialsWrite::_WriteBaseMaterials(MSAXWriter& writer) const
{
    char id[16];
    for (auto const& group : m_materials->m_baseMaterialGroups)
    {
        MSAXTagWriter element(writer, "basematerials");
        writer.WriteAttribute("id", Decimal(id, group->m_id));
        for (BaseMaterial const& material : group->m_values)
        {
            MSAXTagWriter base(writer, "base");
            writer.WriteAttribute(L"name", material.m_name);
            writer.WriteAttribute(L"displaycolor", EncodeColor(material.m_color));
        }
    }
}

void MaterialsWrite::_WriteTextures(MSAXWriter& writer) const
{
    std::string const tag = _Prefixed("texture2d");
    char id[16];
    for (auto const& texture : m_materials->m_textures)
    {
        MSAXTagWriter element(writer, tag.c_str());
        writer.WriteAttribute("id", Decimal(id, texture->m_id));
        writer.WriteAttribute(L"path", texture->m_path);
        writer.WriteAttribute(L"contenttype", texture->m_contentType);
    }
}

void MaterialsWrite::_WriteColorGroups(MSAXWriter& writer) const
{
    std::string const tag = _Prefixed("colorgroup");
    std::string const child = _Prefixed("color");
    char id[16];
    for (auto const& group : m_materials->m_colorGroups)
    {
        MSAXTagWriter element(writer, tag.c_str());
        writer.WriteAttribute("id", Decimal(id, group->m_id));
        for (Color const& color : group->m_values)
        {
            MSAXTagWriter value(writer, child.c_str());
            writer.WriteAttribute(L"color", EncodeColor(color.m_color));
        }
    }
}

void MaterialsWrite::_WriteTextureGroups(MSAXWriter& writer) const
{
    std::string const tag = _Prefixed("texture2dgroup");
    std::string const child = _Prefixed("tex2coord");
    char id[16];
    char number[32];
    for (auto const& group : m_materials->m_texture2DGroups)
    {
        MSAXTagWriter element(writer, tag.c_str());
        writer.WriteAttribute("id", Decimal(id, group->m_id));
        // The undefined texture is printed as it stands, not refused.
        writer.WriteAttribute("texid", Decimal(id, group->m_texid));
        for (Texture2DCoord const& coordinate : group->m_values)
        {
            MSAXTagWriter value(writer, child.c_str());
            writer.WriteAttribute("u", Coordinate(number, coordinate.m_u));
            writer.WriteAttribute("v", Coordinate(number, coordinate.m_v));
        }
    }
}

void MaterialsWrite::_WriteMultiProperties(MSAXWriter& writer) const
{
    std::string const tag = _Prefixed("multiproperties");
    std::string const child = _Prefixed("multi");
    char id[16];
    std::string list;
    for (auto const& group : m_materials->m_multiPropertyGroups)
    {
        MSAXTagWriter element(writer, tag.c_str());
        writer.WriteAttribute("id", Decimal(id, group->m_id));
        writer.WriteAttribute("pids", JoinDecimals(list, group->m_pids));
        for (MultiProperty const& property : group->m_values)
        {
            MSAXTagWriter value(writer, child.c_str());
            writer.WriteAttribute("pindices", JoinDecimals(list, property.m_pindices));
        }
    }
}
} // namespace Format_3MF
