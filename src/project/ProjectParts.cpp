// Flattening a slicer project: the parts of each described object are
// checked first (a part that can't be read leaves the whole object plain),
// then made, taking each mesh over from the model where it is placed once.
#include "project/ProjectParts.h"

#include "flattening/BuildFlattening.h"
#include "project/PaintedMesh.h"
#include "project/PartMeshes.h"
#include "project/ProjectConfig.h"

#include "format3mf/Exception.h"
#include "format3mf/ModelFile.h"
#include "format3mf/Object.h"
#include "format3mf/Transformation.h"

#include "triangles/MStlBase.h"
#include "triangles/MStlPoint.h"
#include "triangles/MStlTriangle.h"

#include <algorithm>
#include <optional>
#include <set>
#include <unordered_map>

namespace format3mf::project
{
// The project's readers build on the model's classes.
using namespace Format_3MF;

namespace
{
MeshStlBase* Binding(Object const& object)
{
    return dynamic_cast<MeshStlBase*>(object.m_mesh.get());
}

// One part as it is to be made: a whole object placed, or a range of the
// triangles of one object's mesh.
struct PlannedPart
{
    Object const* source;
    MMTransformMatrix transform; // file units
    PartConfig const* config;    // null: a printable part of the object's filament
    std::uint64_t first = 0;     // a range in the plain reading, when `range`
    std::uint64_t end = 0;
    bool range = false;
};

class ProjectFlattening
{
public:
    ProjectFlattening(ModelFile& root, ProjectConfig const& config, std::uint64_t maxElements,
                      std::vector<std::wstring>& warnings)
        : m_root(root), m_config(config), m_maxElements(maxElements), m_warnings(warnings)
    {
    }

    ProjectMeshes Run()
    {
        m_failed = RevertFailedPaint(m_root, m_warnings);
        _CountUses();
        for (Build::Item const& item : m_root.GetBuild().m_items)
        {
            Object const* const object = ItemObject(m_root, item, m_warnings);
            if (object == nullptr)
            {
                continue;
            }
            auto const described = m_config.objects.find(int(object->m_id));
            std::vector<PlannedPart> parts;
            if (object->GetModelFile() != &m_root || described == m_config.objects.end() ||
                !_Plan(*object, described->second, item.m_transform, parts))
            {
                Unpaint(*object);
                _Add(FlattenObject(m_root, *object, item.m_transform, _Remaining(), m_warnings),
                     PartRole::Printable, std::nullopt);
                continue;
            }
            for (PlannedPart const& part : parts)
            {
                _Make(*object, described->second, part);
            }
        }
        return std::move(m_result);
    }

private:
    // How often each object is placed by an item or a component: one placed
    // once can give its mesh away.
    void _CountUses()
    {
        ForEachModelFile(m_root,
                         [this](ModelFile& file)
                         {
                             for (auto const& object : file.GetResources().m_objects)
                             {
                                 for (Component const& component : object->m_components)
                                 {
                                     ++m_uses[component.m_object];
                                 }
                             }
                         });
        for (Build::Item const& item : m_root.GetBuild().m_items)
        {
            ModelFile const* const file = item.m_modelFile != nullptr ? item.m_modelFile : &m_root;
            ++m_uses[dynamic_cast<Object const*>(file->GetReference(item.m_objectID))];
        }
    }

    // The parts of an object, checked; false, with a warning, when the
    // object is to be read plain.
    bool _Plan(Object const& object, ObjectConfig const& described, MMTransformMatrix const& transform,
               std::vector<PlannedPart>& parts)
    {
        std::wstring problem = described.problem;
        if (problem.empty())
        {
            problem = m_config.partsByTriangleRange ? _PlanRanges(object, described, transform, parts)
                                                    : _PlanComponents(object, described, transform, parts);
        }
        if (!problem.empty())
        {
            m_warnings.push_back(L"The parts of " + DescribeObject(object) + L" are not read from " +
                                 described.source + L": " + problem +
                                 L"; the object is read as one printable mesh.");
            return false;
        }
        for (PlannedPart const& part : parts)
        {
            if (m_failed.count(part.source) != 0)
            {
                // Its paint was reported already.
                return false;
            }
        }
        _ReportAdjustments(object, described, parts);
        return true;
    }

    // What reading the parts adjusts as the slicers do, one warning of each
    // kind for an object: extruders beyond the filament list print with the
    // first filament (PrusaSlicer takes an extruder past the last for the
    // first), and leaves of very thin triangles that the grid distorts are
    // left out or turned back.
    void _ReportAdjustments(Object const& object, ObjectConfig const& described,
                            std::vector<PlannedPart> const& parts)
    {
        std::size_t const filaments = m_config.filaments.size();
        std::vector<std::wstring> beyond;
        std::uint64_t paintBeyond = 0;
        std::uint32_t highest = 0;
        std::set<Object const*> sources;
        for (PlannedPart const& part : parts)
        {
            int const extruder = _Extruder(described, part.config);
            if (filaments != 0 && std::size_t(extruder) > filaments &&
                _Role(part.config) == PartRole::Printable)
            {
                beyond.push_back(_Name(described, part) + L" prints with extruder " +
                                 std::to_wstring(extruder));
            }
            auto const* const painted = dynamic_cast<PaintedMesh const*>(part.source->m_mesh.get());
            if (painted == nullptr || !sources.insert(part.source).second)
            {
                continue;
            }
            paintBeyond += painted->GetTrianglesBeyond();
            highest = std::max(highest, painted->GetHighestFilamentBeyond());
            if ((painted->GetFlatLeaves() != 0 || painted->GetTurnedLeaves() != 0) &&
                m_thinReported.insert(part.source).second)
            {
                m_warnings.push_back(
                    L"The paint of " + DescribeObject(*part.source) +
                    L" splits very thin triangles whose leaves the 0.1 micrometre grid of the "
                    L"mesh distorts: " +
                    std::to_wstring(painted->GetFlatLeaves()) + L" without area are left out, " +
                    std::to_wstring(painted->GetTurnedLeaves()) + L" turned over are turned back.");
            }
        }
        if (paintBeyond != 0)
        {
            beyond.push_back(L"the paint of " + std::to_wstring(paintBeyond) +
                             L" triangles names filaments up to " + std::to_wstring(highest));
        }
        if (beyond.empty() || !m_beyondReported.insert(&object).second)
        {
            return;
        }
        // A few named are enough to find them.
        constexpr std::size_t kNamed = 3;
        std::wstring named;
        for (std::size_t i = 0; i < beyond.size() && i < kNamed; ++i)
        {
            named += (i == 0 ? L"" : L", ") + beyond[i];
        }
        if (beyond.size() > kNamed)
        {
            named += L" and " + std::to_wstring(beyond.size() - kNamed) + L" more";
        }
        m_warnings.push_back(L"The parts of " + DescribeObject(object) + L" name extruders beyond the " +
                             std::to_wstring(filaments) + L" filaments of " + m_config.filamentSource +
                             L" (" + named + L"); they print with filament 1, as the slicers print them.");
    }

    // Bambu Studio and its kin: each component places a part, which the
    // settings name by the component's object. The parts are listed in the
    // order of the components: two parts of one mesh (copies of an object
    // merged into one) are told apart by that order.
    std::wstring _PlanComponents(Object const& object, ObjectConfig const& described,
                                 MMTransformMatrix const& transform, std::vector<PlannedPart>& parts)
    {
        std::vector<bool> taken(described.parts.size(), false);
        // The first part of that id not yet taken, else the first of that id.
        auto find = [&described, &taken](int id) -> PartConfig const*
        {
            PartConfig const* first = nullptr;
            for (std::size_t i = 0; i < described.parts.size(); ++i)
            {
                if (described.parts[i].id != id)
                {
                    continue;
                }
                if (!taken[i])
                {
                    taken[i] = true;
                    return &described.parts[i];
                }
                first = first != nullptr ? first : &described.parts[i];
            }
            return first;
        };
        if (object.m_mesh != nullptr)
        {
            parts.push_back({&object, transform, find(int(object.m_id))});
        }
        for (Component const& component : object.m_components)
        {
            if (component.m_object == nullptr)
            {
                return L"a component refers to object " + std::to_wstring(int(component.m_objectID)) +
                       L", which does not exist";
            }
            parts.push_back(
                {component.m_object, transform * component.m_transform, find(int(component.m_objectID))});
        }
        return {};
    }

    // PrusaSlicer: the volumes are ranges of the triangles of the object's
    // one mesh, which they cover in order.
    std::wstring _PlanRanges(Object const& object, ObjectConfig const& described,
                             MMTransformMatrix const& transform, std::vector<PlannedPart>& parts)
    {
        auto const* const mesh = dynamic_cast<PaintedMesh const*>(object.m_mesh.get());
        if (mesh == nullptr || mesh->m_stl == nullptr || !object.m_components.empty())
        {
            return L"it is not one mesh, which its volumes would divide";
        }
        // As the slicer numbers them: also those the reading leaves out.
        std::uint64_t const triangles = mesh->GetFileTriangleCount();
        std::uint64_t next = 0;
        for (PartConfig const& part : described.parts)
        {
            std::uint64_t const first = std::uint64_t(part.firstTriangle);
            std::uint64_t const end = std::uint64_t(part.lastTriangle) + 1;
            if (end > triangles)
            {
                return _Name(described, {&object, transform, &part}) + L" takes triangles " +
                       std::to_wstring(first) + L" to " + std::to_wstring(end - 1) + L", past the " +
                       std::to_wstring(triangles) + L" triangles of the mesh";
            }
            if (first != next)
            {
                return L"triangles " + std::to_wstring(next) + L" to " + std::to_wstring(first - 1) +
                       L" belong to no volume";
            }
            parts.push_back({&object, transform, &part, first, end, true});
            next = end;
        }
        if (next != triangles)
        {
            return L"triangles " + std::to_wstring(next) + L" to " + std::to_wstring(triangles - 1) +
                   L" belong to no volume";
        }
        return {};
    }

    static PartRole _Role(PartConfig const* part)
    {
        return part != nullptr ? part->role : PartRole::Printable;
    }

    // The part's own extruder, else the object's, else the first.
    static int _Extruder(ObjectConfig const& described, PartConfig const* part)
    {
        int const own = part != nullptr ? part->extruder : 0;
        return own != 0 ? own : described.extruder != 0 ? described.extruder : 1;
    }

    static std::wstring _Name(ObjectConfig const& described, PlannedPart const& part)
    {
        if (part.config != nullptr && !part.config->name.empty())
        {
            return L"part \"" + part.config->name + L"\"";
        }
        std::wstring const& name = part.source->m_name.empty() ? described.name : part.source->m_name;
        return L"part \"" + name + L"\"";
    }

    std::uint64_t _Remaining() const
    {
        std::uint64_t const used = std::max(m_points, m_triangles);
        return used >= m_maxElements ? 0 : m_maxElements - used;
    }

    void _Make(Object const& object, ObjectConfig const& described, PlannedPart const& part)
    {
        std::unique_ptr<MStlBase> mesh;
        MeshStlBase* const binding = Binding(*part.source);
        MMTransformMatrix const placement =
            ConvertTransformationFileUnitsToInternalUnits(part.transform, m_root.GetUnits());
        if (part.range && (part.first != 0 || m_uses[&object] != 1 ||
                           part.end != static_cast<PaintedMesh*>(binding)->GetFileTriangleCount()))
        {
            // The range in the mesh, where painted triangles stand as their leaves.
            auto const* const painted = static_cast<PaintedMesh const*>(binding);
            std::vector<std::uint64_t> const starts =
                painted->OutputStarts({painted->PlainIndex(part.first), painted->PlainIndex(part.end)});
            _Check(0, starts[1] - starts[0], false);
            mesh = CopyTriangles(*painted->m_stl, starts[0], starts[1], placement);
        }
        else if (binding != nullptr && binding->GetOwnStl() && part.source->m_components.empty() &&
                 m_uses[part.source] == 1 && m_uses[&object] == 1)
        {
            mesh = TakeMesh(*binding, placement);
        }
        else
        {
            mesh = FlattenObject(m_root, *part.source, part.transform, _Remaining(), m_warnings);
        }
        std::wstring const name = part.config != nullptr && !part.config->name.empty() ? part.config->name
                                  : part.source->m_name.empty()                        ? described.name
                                                                                       : part.source->m_name;
        mesh->SetName(name.c_str());
        PartRole const role = _Role(part.config);
        mesh->m_partIsSupport = false;
        mesh->m_partIsSolid = role == PartRole::Printable;
        std::optional<std::uint32_t> colour;
        if (role == PartRole::Printable && !m_config.filaments.empty())
        {
            std::size_t const extruder = std::size_t(_Extruder(described, part.config));
            colour = m_config.filaments[extruder <= m_config.filaments.size() ? extruder - 1 : 0];
        }
        _Add(std::move(mesh), role, colour);
    }

    // Whether a mesh of this size stays within the limit with the others,
    // counted with them when `keep`; throws when it does not.
    void _Check(std::uint64_t points, std::uint64_t triangles, bool keep)
    {
        if (keep)
        {
            m_points += points;
            m_triangles += triangles;
        }
        if (m_points + (keep ? 0 : points) > m_maxElements ||
            m_triangles + (keep ? 0 : triangles) > m_maxElements)
        {
            throw Exception(L"The build places its objects more often than can be held: more than " +
                            std::to_wstring(m_maxElements) + L" points, triangles, beams or placed objects.");
        }
    }

    // Keeps a mesh that holds geometry; a printable part of a project in its
    // filament's colour, where no colour of the file says otherwise.
    void _Add(std::unique_ptr<MStlBase> mesh, PartRole role, std::optional<std::uint32_t> colour)
    {
        if (mesh->GetNumberOfPoints() == 0)
        {
            return;
        }
        _Check(mesh->GetNumberOfPoints(), mesh->GetNumberOfTriangles(), true);
        if (colour)
        {
            mesh->GetMaterial().SetRGB(*colour);
            for (std::uint32_t index = 0; index < mesh->GetNumberOfTriangles(); ++index)
            {
                MStlTriangle& triangle = mesh->TriangleAt(index);
                if (!triangle.GetColor().IsDefined())
                {
                    triangle.SetRGB(*colour);
                }
            }
        }
        m_result.roles.push_back(role);
        m_result.meshes.push_back(std::move(mesh));
    }

    ModelFile& m_root;
    ProjectConfig const& m_config;
    std::uint64_t const m_maxElements;
    std::vector<std::wstring>& m_warnings;
    std::set<Object const*> m_failed;
    // The objects whose adjustments were reported: once, however often
    // they are placed.
    std::set<Object const*> m_beyondReported;
    std::set<Object const*> m_thinReported;
    std::unordered_map<Object const*, std::size_t> m_uses;
    std::uint64_t m_points = 0;
    std::uint64_t m_triangles = 0;
    ProjectMeshes m_result;
};
} // namespace

ProjectMeshes FlattenProject(ModelFile& root, ProjectConfig const& config, std::uint64_t maxElements,
                             std::vector<std::wstring>& warnings)
{
    return ProjectFlattening(root, config, maxElements, warnings).Run();
}
} // namespace format3mf::project
