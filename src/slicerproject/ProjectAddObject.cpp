// A mesh added to a project as an object of its own, written as its slicer
// writes one: in the Bambu family a model part of its own placed by a
// component, with its part settings and its place on a plate; in
// PrusaSlicer's projects a mesh in the root model with its volume.
#include "format3mf/Project.h"

#include "project/ConfigXml.h"
#include "project/PaintCode.h"
#include "slicerproject/PackageUpkeep.h"
#include "slicerproject/ProjectEdits.h"
#include "slicerproject/ProjectState.h"
#include "slicerproject/XmlOutline.h"

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>

namespace format3mf
{
using namespace slicerproject;

namespace
{
constexpr char const* kProductionNamespace =
    "http://schemas.microsoft.com/3dmanufacturing/production/2015/06";
constexpr char const* kPrusaNamespace = "http://schemas.slic3r.org/3mf/2017/06";
constexpr char const* kIdentity4x4 = "1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1";

void Check(bool condition, std::string const& problem)
{
    if (!condition)
    {
        throw ProjectError("The mesh can't be added: " + problem);
    }
}

// The prefix that the root element binds to `uri`; empty when none does.
std::string PrefixOf(OutlineElement const& root, std::string const& uri)
{
    for (auto const& [name, value] : root.attributes)
    {
        if (value == uri && name.rfind("xmlns:", 0) == 0)
        {
            return name.substr(6);
        }
    }
    return {};
}

std::string Number(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", value == 0 ? 0.0 : value);
    return text;
}

struct Footprint
{
    double minX = INFINITY, minY = INFINITY, minZ = INFINITY;
    double maxX = -INFINITY, maxY = -INFINITY;
};

// The mesh element's text, the points in file units.
std::string MeshXml(ProjectMeshInput const& mesh, double unitScale, std::string const& paintAttribute,
                    std::string const& indent)
{
    std::string xml;
    xml.reserve(mesh.vertices.size() * 20 + mesh.triangles.size() * 20);
    xml += indent + "<mesh>\n" + indent + " <vertices>\n";
    for (std::size_t i = 0; i < mesh.vertices.size(); i += 3)
    {
        xml += indent + "  <vertex x=\"" + Number(mesh.vertices[i] / unitScale) + "\" y=\"" +
               Number(mesh.vertices[i + 1] / unitScale) + "\" z=\"" +
               Number(mesh.vertices[i + 2] / unitScale) + "\"/>\n";
    }
    xml += indent + " </vertices>\n" + indent + " <triangles>\n";
    for (std::size_t i = 0; i < mesh.triangles.size(); i += 3)
    {
        xml += indent + "  <triangle v1=\"" + std::to_string(mesh.triangles[i]) + "\" v2=\"" +
               std::to_string(mesh.triangles[i + 1]) + "\" v3=\"" + std::to_string(mesh.triangles[i + 2]) +
               "\"";
        if (!mesh.triangleFilaments.empty() && mesh.triangleFilaments[i / 3] != 0)
        {
            xml += " " + paintAttribute + "=\"" +
                   project::WholeTrianglePaint(unsigned(mesh.triangleFilaments[i / 3])) + "\"";
        }
        xml += "/>\n";
    }
    xml += indent + " </triangles>\n" + indent + "</mesh>\n";
    return xml;
}

project::ConfigElement Element(std::string name, std::vector<std::pair<std::string, std::string>> attributes)
{
    project::ConfigElement element;
    element.name = std::move(name);
    element.attributes = std::move(attributes);
    return element;
}

std::string NewUuid()
{
    return boost::uuids::to_string(boost::uuids::random_generator()());
}
} // namespace

int Project::AddObject(ProjectMeshInput const& mesh)
{
    ProjectView const& view = m_state->view;
    std::size_t const points = mesh.vertices.size() / 3;
    std::size_t const triangles = mesh.triangles.size() / 3;
    Check(points > 0 && mesh.vertices.size() % 3 == 0,
          "its points are not three numbers each, or there are none");
    Check(triangles > 0 && mesh.triangles.size() % 3 == 0,
          "its triangles are not three point numbers each, or there are none");
    Check(std::all_of(mesh.vertices.begin(), mesh.vertices.end(), [](double v) { return std::isfinite(v); }),
          "a point has a coordinate that is not a finite number");
    Check(std::all_of(mesh.triangles.begin(), mesh.triangles.end(),
                      [&](std::uint32_t v) { return v < points; }),
          "a triangle names a point beyond its " + std::to_string(points) + " points");
    Check(mesh.triangleFilaments.empty() || mesh.triangleFilaments.size() == triangles,
          "it has " + std::to_string(mesh.triangleFilaments.size()) + " triangle filaments for " +
              std::to_string(triangles) + " triangles");
    RequireFilament(view, mesh.extruder, "Extruder");
    for (int const filament : mesh.triangleFilaments)
    {
        if (filament != 0)
        {
            RequireFilament(view, filament, "The triangle filament");
            Check(filament <= 18,
                  "filament " + std::to_string(filament) + " is beyond the 18 that paint can name");
        }
    }
    ProjectPlate const* const plate = view.FindPlate(mesh.plate);
    if (plate == nullptr)
    {
        throw ProjectError("The project has no plate " + std::to_string(mesh.plate));
    }
    bool const bambu = view.modelSettingsEntry == kBambuModelSettings;
    bool const prusa = view.modelSettingsEntry == kPrusaModelSettings;
    Check(mesh.triangleFilaments.empty() || bambu || prusa,
          "per-triangle filaments need a slicer project's model settings, which this package lacks");

    // Where it goes: the footprint's centre on the position, resting on the plate.
    Footprint box;
    for (std::size_t i = 0; i < mesh.vertices.size(); i += 3)
    {
        box.minX = std::min(box.minX, mesh.vertices[i]);
        box.maxX = std::max(box.maxX, mesh.vertices[i]);
        box.minY = std::min(box.minY, mesh.vertices[i + 1]);
        box.maxY = std::max(box.maxY, mesh.vertices[i + 1]);
        box.minZ = std::min(box.minZ, mesh.vertices[i + 2]);
    }
    std::array<double, 2> const position =
        mesh.position.value_or(std::array<double, 2>{view.bedWidth / 2, view.bedDepth / 2});
    ProjectMatrix placement{1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
    placement[9] = (plate->originX + position[0] - (box.minX + box.maxX) / 2) / view.unitScale;
    placement[10] = (plate->originY + position[1] - (box.minY + box.maxY) / 2) / view.unitScale;
    placement[11] = -box.minZ / view.unitScale;

    int largest = 0;
    for (ViewObject const& object : view.objects)
    {
        largest = std::max(largest, object.object.id);
        for (int const component : object.componentObjects)
        {
            largest = std::max(largest, component);
        }
    }
    int const partObjectId = largest + 1;
    int const objectId = bambu ? largest + 2 : largest + 1;

    project::ConfigElement settings;
    if (bambu || prusa)
    {
        std::string const problem =
            project::ParseConfigXml(m_state->store.Read(view.modelSettingsEntry), settings);
        if (!problem.empty())
        {
            throw ProjectError("The model settings " + view.modelSettingsEntry +
                               " can't take the object: " + problem);
        }
    }
    Transact(
        *m_state,
        [&]
        {
            std::string const& root = view.rootModel;
            std::string const text = m_state->store.Read(root);
            std::vector<OutlineElement> const outline = OutlineXml(text, root, 1);
            OutlineElement const& model = outline.front();
            std::vector<XmlSplice> splices;
            // The namespaces the new elements need, declared on the root
            // where it lacks them.
            std::string production = PrefixOf(model, kProductionNamespace);
            std::string painted = PrefixOf(model, kPrusaNamespace);
            std::size_t const tagEnd = model.begin + 1 + model.name.size();
            if (bambu && production.empty())
            {
                production = "p";
                splices.push_back({tagEnd, tagEnd, " xmlns:p=\"" + std::string(kProductionNamespace) + "\""});
            }
            if (prusa && painted.empty() && !mesh.triangleFilaments.empty())
            {
                painted = "slic3rpe";
                splices.push_back(
                    {tagEnd, tagEnd, " xmlns:slic3rpe=\"" + std::string(kPrusaNamespace) + "\""});
            }
            std::string const uuid = production.empty() ? "" : production + ":UUID";
            std::string const name = EscapeXml(mesh.name);
            std::string object;
            if (bambu)
            {
                std::string part = "3D/Objects/object_" + std::to_string(objectId) + ".model";
                for (int n = 2; m_state->store.Has(part); ++n)
                {
                    part =
                        "3D/Objects/object_" + std::to_string(objectId) + "_" + std::to_string(n) + ".model";
                }
                std::string const declaration = text.substr(model.begin, model.contentBegin - model.begin);
                std::string const partText =
                    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + declaration +
                    "\n <resources>\n  <object id=\"" + std::to_string(partObjectId) + "\" " + uuid + "=\"" +
                    NewUuid() + "\" type=\"model\">\n" + MeshXml(mesh, view.unitScale, "paint_color", "   ") +
                    "  </object>\n </resources>\n <build/>\n</" + model.name + ">\n";
                m_state->store.Write(part, partText);
                EnsureContentType(m_state->store, part);
                AddRelationship(m_state->store, RelationshipsOf(root), part, kModelRelationshipType);
                object = "<object id=\"" + std::to_string(objectId) + "\" " + uuid + "=\"" + NewUuid() +
                         "\" type=\"model\">\n   <components>\n    <component " + production + ":path=\"/" +
                         part + "\" objectid=\"" + std::to_string(partObjectId) + "\" " + uuid + "=\"" +
                         NewUuid() +
                         "\" transform=\"1 0 0 0 1 0 0 0 1 0 0 0\"/>\n   </components>\n  </object>";
            }
            else
            {
                std::string const paint = painted.empty() ? "" : painted + ":mmu_segmentation";
                object = "<object id=\"" + std::to_string(objectId) + "\"" +
                         (prusa ? "" : " name=\"" + name + "\"") + " type=\"model\">\n" +
                         MeshXml(mesh, view.unitScale, paint, "   ") + "  </object>";
            }
            std::string const item = "<item objectid=\"" + std::to_string(objectId) + "\"" +
                                     (uuid.empty() ? "" : " " + uuid + "=\"" + NewUuid() + "\"") +
                                     " transform=\"" + FormatMatrix(placement) + "\" printable=\"1\"/>";
            OutlineElement const* const resources = FindElement(outline, "resources", 1);
            OutlineElement const* const build = FindElement(outline, "build", 1);
            if (resources == nullptr || build == nullptr)
            {
                throw ProjectError("The root model " + root +
                                   " has no resources or no build to add an object to");
            }
            splices.push_back(InsertionInto(text, *resources, object));
            splices.push_back(InsertionInto(text, *build, item));
            m_state->store.Write(root, ApplySplices(text, splices));

            if (!bambu && !prusa)
            {
                return;
            }
            // The settings the slicer needs for the object and its part.
            std::string const id = std::to_string(objectId);
            project::ConfigElement described = Element("object", {{"id", id}});
            if (prusa)
            {
                described.attributes.emplace_back("instances_count", "1");
            }
            auto const metadata =
                [&](project::ConfigElement& element, char const* type, std::string key, std::string value)
            {
                std::vector<std::pair<std::string, std::string>> attributes;
                if (prusa)
                {
                    attributes.emplace_back("type", type);
                }
                attributes.emplace_back("key", std::move(key));
                attributes.emplace_back("value", std::move(value));
                element.children.push_back(Element("metadata", std::move(attributes)));
            };
            metadata(described, "object", "name", mesh.name);
            metadata(described, "object", "extruder", std::to_string(mesh.extruder));
            project::ConfigElement part =
                prusa ? Element("volume", {{"firstid", "0"}, {"lastid", std::to_string(triangles - 1)}})
                      : Element("part", {{"id", std::to_string(partObjectId)}, {"subtype", "normal_part"}});
            metadata(part, "volume", "name", mesh.name);
            if (prusa)
            {
                metadata(part, "volume", "volume_type", "ModelPart");
            }
            metadata(part, "volume", "matrix", kIdentity4x4);
            part.children.push_back(Element(prusa ? "mesh" : "mesh_stat", {{"edges_fixed", "0"},
                                                                           {"degenerate_facets", "0"},
                                                                           {"facets_removed", "0"},
                                                                           {"facets_reversed", "0"},
                                                                           {"backwards_edges", "0"}}));
            described.children.push_back(std::move(part));
            // After the last object, before the plates.
            auto at = settings.children.begin();
            for (auto i = settings.children.begin(); i != settings.children.end(); ++i)
            {
                if (i->name == "object")
                {
                    at = i + 1;
                }
            }
            settings.children.insert(at, std::move(described));
            if (bambu)
            {
                int identify = 0;
                project::ConfigElement* target = nullptr;
                for (project::ConfigElement& element : settings.children)
                {
                    std::string const* const plater = element.Metadata("plater_id");
                    if (element.name == "plate" && plater != nullptr && *plater == std::to_string(mesh.plate))
                    {
                        target = &element;
                    }
                    for (project::ConfigElement const& instance : element.children)
                    {
                        std::string const* const seen = instance.Metadata("identify_id");
                        identify = std::max(identify, seen != nullptr ? std::atoi(seen->c_str()) : 0);
                    }
                }
                if (target == nullptr)
                {
                    throw ProjectError("The model settings " + view.modelSettingsEntry + " have no plate " +
                                       std::to_string(mesh.plate));
                }
                project::ConfigElement instance = Element("model_instance", {});
                metadata(instance, "", "object_id", id);
                metadata(instance, "", "instance_id", "0");
                metadata(instance, "", "identify_id", std::to_string(identify + 1));
                target->children.push_back(std::move(instance));
            }
            m_state->store.Write(view.modelSettingsEntry, WriteConfigXml(settings));
        });
    return objectId;
}
} // namespace format3mf
