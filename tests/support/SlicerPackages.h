// Packages in the layout that Bambu Studio, OrcaSlicer, QIDI Studio and
// Creality Print write: a root model of objects made of components only, the
// placed objects in model parts of their own under /3D/Objects.
#pragma once

#include "support/PackageTestSupport.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace slicer
{
inline std::string const kCore = "http://schemas.microsoft.com/3dmanufacturing/core/2015/02";
inline std::string const kProduction = "http://schemas.microsoft.com/3dmanufacturing/production/2015/06";

// A box from the origin to (x, y, z) as the mesh of an object, each triangle
// with the attributes given.
inline std::string BoxMesh(double x, double y, double z, std::string const& triangleAttributes = "")
{
    std::string mesh = "<mesh><vertices>";
    for (int i = 0; i < 8; ++i)
    {
        mesh += "<vertex x=\"" + std::to_string((i & 1) * x) + "\" y=\"" +
                std::to_string(((i >> 1) & 1) * y) + "\" z=\"" + std::to_string(((i >> 2) & 1) * z) + "\"/>";
    }
    mesh += "</vertices><triangles>";
    int const faces[12][3] = {{0, 2, 1}, {1, 2, 3}, {4, 5, 6}, {5, 7, 6}, {0, 1, 4}, {1, 5, 4},
                              {2, 6, 3}, {3, 6, 7}, {0, 4, 2}, {2, 4, 6}, {1, 3, 5}, {3, 7, 5}};
    for (auto const& face : faces)
    {
        mesh += "<triangle v1=\"" + std::to_string(face[0]) + "\" v2=\"" + std::to_string(face[1]) +
                "\" v3=\"" + std::to_string(face[2]) + "\" " + triangleAttributes + "/>";
    }
    return mesh + "</triangles></mesh>";
}

// A model part that declares and requires the production extension, as the
// slicers write every part.
inline std::string Part(std::string const& resources, std::string const& build = "",
                        std::string const& unit = "millimeter")
{
    return "<model unit=\"" + unit + "\" xmlns=\"" + kCore + "\" xmlns:p=\"" + kProduction +
           "\" requiredextensions=\"p\"><resources>" + resources + "</resources><build>" + build +
           "</build></model>";
}

// A "component" that names object `id` of `part` (its own part when empty).
inline std::string ComponentElement(int id, std::string const& part = "", std::string const& transform = "")
{
    return "<component" + (part.empty() ? "" : " p:path=\"" + part + "\"") + " objectid=\"" +
           std::to_string(id) + "\"" + (transform.empty() ? "" : " transform=\"" + transform + "\"") + "/>";
}

// An object of components only.
inline std::string Assembly(int id, std::string const& components)
{
    return "<object id=\"" + std::to_string(id) + "\" type=\"model\"><components>" + components +
           "</components></object>";
}

// The root model and the other parts, named without the leading slash, with
// the relationships from the root model to them that the slicers write.
inline void WriteSlicerPackage(std::wstring const& file, std::string const& root,
                               std::vector<std::pair<std::string, std::string>> parts)
{
    std::string relationships = "<Relationships>";
    for (std::size_t i = 0; i < parts.size(); ++i)
    {
        relationships += "<Relationship Target=\"/" + parts[i].first + "\" Id=\"rel-" +
                         std::to_string(i + 1) +
                         "\" Type=\"http://schemas.microsoft.com/3dmanufacturing/2013/01/3dmodel\"/>";
    }
    parts.emplace_back("3D/_rels/3dmodel.model.rels", relationships + "</Relationships>");
    WriteModelPackage(file, root, parts);
}

} // namespace slicer
