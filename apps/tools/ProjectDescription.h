// What ond3mf-project show tells of a project: one JSON object, and the
// readable form printed from it, so that both say the same.
#pragma once

#include "format3mf/PartRole.h"
#include "format3mf/Project.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <string>
#include <vector>

namespace format3mf::apps
{
// The colour of the filament an extruder prints with: the first filament's
// for one beyond the list, as the slicers print it; "none" without a list.
inline std::string ColourOf(format3mf::Project const& project, int extruder)
{
    std::vector<ProjectFilament> const& filaments = project.Filaments();
    if (filaments.empty())
    {
        return "none";
    }
    bool const listed = extruder >= 1 && static_cast<std::size_t>(extruder) <= filaments.size();
    return filaments[listed ? extruder - 1 : 0].colour;
}

// Everything show tells, as one JSON object; the readable form is printed
// from it, so that both say the same. Extruders are those the parts print
// with: a part without its own takes its object's, an object without one
// the first.
inline nlohmann::ordered_json Describe(std::string const& file, format3mf::Project const& project)
{
    nlohmann::ordered_json metadata = nlohmann::ordered_json::object();
    for (auto const& [key, value] : project.Metadata())
    {
        metadata[key] = value;
    }
    nlohmann::ordered_json plates = nlohmann::ordered_json::array();
    for (ProjectPlate const& plate : project.Plates())
    {
        nlohmann::ordered_json items = nlohmann::ordered_json::array();
        for (ProjectPlacement const& item : plate.items)
        {
            items.push_back({{"object", item.objectId}, {"transform", item.transform}});
        }
        plates.push_back({{"id", plate.id},
                          {"name", plate.name},
                          {"items", items},
                          {"thumbnail", plate.thumbnail},
                          {"gcode", plate.gcode}});
    }
    nlohmann::ordered_json filaments = nlohmann::ordered_json::array();
    for (ProjectFilament const& filament : project.Filaments())
    {
        filaments.push_back({{"index", filament.index},
                             {"colour", filament.colour},
                             {"type", filament.type},
                             {"preset", filament.preset}});
    }
    nlohmann::ordered_json objects = nlohmann::ordered_json::array();
    for (ProjectObject const& object : project.Objects())
    {
        int const extruder = object.extruder > 0 ? object.extruder : 1;
        nlohmann::ordered_json parts = nlohmann::ordered_json::array();
        for (ProjectPart const& part : object.parts)
        {
            int const partExtruder = part.extruder > 0 ? part.extruder : extruder;
            parts.push_back({{"id", part.id},
                             {"name", part.name},
                             {"role", Format_3MF::PartRoleName(part.role)},
                             {"extruder", partExtruder},
                             {"colour", ColourOf(project, partExtruder)},
                             {"matrix", part.matrix}});
        }
        objects.push_back({{"id", object.id},
                           {"name", object.name},
                           {"extruder", extruder},
                           {"colour", ColourOf(project, extruder)},
                           {"parts", parts}});
    }
    nlohmann::ordered_json entries = nlohmann::ordered_json::array();
    for (ProjectEntry const& entry : project.Entries())
    {
        entries.push_back({{"name", entry.name},
                           {"size", entry.size},
                           {"compressed_size", entry.compressedSize},
                           {"crc", entry.crc}});
    }
    return {{"file", file},
            {"dialect", DialectName(project.Dialect())},
            {"application", project.Application()},
            {"metadata", metadata},
            {"plates", plates},
            {"filaments", filaments},
            {"objects", objects},
            {"thumbnails", project.ThumbnailEntries()},
            {"entries", entries},
            {"warnings", project.Warnings()}};
}

// A JSON string's text.
inline std::string Text(nlohmann::ordered_json const& value)
{
    return value.get<std::string>();
}

// The description as lines for a person: the file, its dialect and
// application first, then one line per metadata value, plate, filament,
// object, part, thumbnail and entry.
inline void PrintReadable(nlohmann::ordered_json const& d)
{
    std::printf("%s: %s project, application \"%s\"\n", Text(d["file"]).c_str(), Text(d["dialect"]).c_str(),
                Text(d["application"]).c_str());
    for (auto const& [key, value] : d["metadata"].items())
    {
        std::printf("  metadata %s: %s\n", key.c_str(), Text(value).c_str());
    }
    for (nlohmann::ordered_json const& plate : d["plates"])
    {
        std::string objects;
        for (nlohmann::ordered_json const& item : plate["items"])
        {
            objects += (objects.empty() ? " " : ", ") + item["object"].dump();
        }
        std::printf("  plate %d \"%s\": objects%s", plate["id"].get<int>(), Text(plate["name"]).c_str(),
                    objects.empty() ? " none" : objects.c_str());
        for (char const* entry : {"thumbnail", "gcode"})
        {
            if (!plate[entry].get<std::string>().empty())
            {
                std::printf("; %s %s", entry, Text(plate[entry]).c_str());
            }
        }
        std::printf("\n");
    }
    for (nlohmann::ordered_json const& filament : d["filaments"])
    {
        std::printf("  filament %d: %s %s, preset \"%s\"\n", filament["index"].get<int>(),
                    Text(filament["colour"]).c_str(), Text(filament["type"]).c_str(),
                    Text(filament["preset"]).c_str());
    }
    for (nlohmann::ordered_json const& object : d["objects"])
    {
        std::printf("  object %d \"%s\": extruder %d, %s\n", object["id"].get<int>(),
                    Text(object["name"]).c_str(), object["extruder"].get<int>(),
                    Text(object["colour"]).c_str());
        for (nlohmann::ordered_json const& part : object["parts"])
        {
            std::printf("    part %d \"%s\": %s, extruder %d, %s\n", part["id"].get<int>(),
                        Text(part["name"]).c_str(), Text(part["role"]).c_str(), part["extruder"].get<int>(),
                        Text(part["colour"]).c_str());
        }
    }
    for (nlohmann::ordered_json const& thumbnail : d["thumbnails"])
    {
        std::printf("  thumbnail %s\n", Text(thumbnail).c_str());
    }
    for (nlohmann::ordered_json const& entry : d["entries"])
    {
        std::printf("  entry %s: %s bytes, %s stored\n", Text(entry["name"]).c_str(),
                    entry["size"].dump().c_str(), entry["compressed_size"].dump().c_str());
    }
}
} // namespace format3mf::apps
