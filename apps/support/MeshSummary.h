// The figures by which a person or a script recognises a mesh: counts, box in
// millimetres, colours, textures and beams. ond3mf-info prints them, and its
// --json and the Python module's info() give them as one record, key for key.
#pragma once

#include "format3mf/ImportFile.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <string>

class MStlBase;

namespace format3mf::apps
{
struct Summary
{
    std::size_t vertices = 0;
    std::size_t triangles = 0;
    double min[3] = {0, 0, 0};
    double max[3] = {0, 0, 0};
    std::size_t coloured = 0;
    std::size_t textured = 0;
    std::size_t textures = 0;
    std::size_t beams = 0;
};

Summary Summarise(MStlBase const& mesh);

// The colour of a printed part's filament as "#RRGGBB", "none" for a part
// that is not printed.
std::string FilamentColour(format3mf::import::ImportedPart const& part);

// The record of one part: "name", "vertices", "triangles", "box" ("min" and
// "max", each x y z in millimetres), "coloured_triangles",
// "textured_triangles", "textures", "beams"; with `roles` also the part's
// "role" and the "colour" of its filament.
nlohmann::json Record(format3mf::import::ImportedPart const& part, bool roles);
} // namespace format3mf::apps
