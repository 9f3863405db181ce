// Flattening a build: a first pass over the objects that the items reach
// finds what each one places, its size, cycles and dangling components; the
// second copies each placed mesh straight into the item's mesh.

#include "flattening/BuildFlattening.h"

#include "mesh/PartFlags.h"

#include "format3mf/Exception.h"
#include "format3mf/MeshStlBase.h"
#include "format3mf/ModelFile.h"
#include "format3mf/Object.h"

#include "common/MInternalUnits.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlTriangle.h"

#include <algorithm>
#include <limits>
#include <unordered_map>
#include <utility>

namespace Format_3MF
{
namespace
{
// The rows of an affine transformation; the fourth row is 0 0 0 1, as in
// every transformation a file can give. Composing these instead of 4 by 4
// matrices with their inverses keeps the cost of a placement small.
struct Affine
{
    double m[3][4];

    static Affine Of(MMTransformMatrix const& matrix)
    {
        Affine result;
        for (unsigned short row = 0; row < 3; ++row)
        {
            for (unsigned short column = 0; column < 4; ++column)
            {
                result.m[row][column] = matrix.GetElement(row, column);
            }
        }
        return result;
    }

    // Parent on the left, summed in the order of the 4 by 4 product.
    Affine operator*(Affine const& child) const
    {
        Affine result;
        for (int row = 0; row < 3; ++row)
        {
            for (int column = 0; column < 4; ++column)
            {
                double sum = 0.0;
                for (int k = 0; k < 3; ++k)
                {
                    sum += m[row][k] * child.m[k][column];
                }
                result.m[row][column] = column == 3 ? sum + m[row][3] : sum;
            }
        }
        return result;
    }
};

// A translation in file units as internal units, rounded half away from
// zero to 32 bits; a value beyond them gives the lowest, as the conversion
// of transformations always has on this platform.
double InternalTranslation(double value, double factor)
{
    double t = value * factor * OndSDK::Common::MInternalUnits::Get();
    t += t >= 0 ? 0.5 : -0.5;
    if (!(t > double(std::numeric_limits<std::int32_t>::min()) - 1.0 &&
          t < double(std::numeric_limits<std::int32_t>::max()) + 1.0))
    {
        return double(std::numeric_limits<std::int32_t>::min());
    }
    return double(std::int32_t(t));
}

// The placement as the mesh takes it, in internal units, into `matrix`. The
// inverse is not computed: a mesh placed by AddStl or Transform never asks
// for it.
void SetInternalPlacement(Affine const& placement, double unitFactor, MMTransformMatrix& matrix)
{
    for (unsigned short row = 0; row < 3; ++row)
    {
        for (unsigned short column = 0; column < 3; ++column)
        {
            matrix.AccessElement(row, column) = placement.m[row][column];
        }
        matrix.AccessElement(row, 3) = InternalTranslation(placement.m[row][3], unitFactor);
    }
}

MStlBase const* MeshOf(Object const* object)
{
    auto const* mesh = dynamic_cast<MeshStlBase const*>(object->m_mesh.get());
    return mesh != nullptr ? const_cast<MeshStlBase*>(mesh)->GetStl(false) : nullptr;
}

std::wstring Describe(tReferenceID id, ModelFile const* file)
{
    return L"object " + std::to_wstring(int(id)) + L" of " + file->GetFileNameInPackage();
}

std::wstring Describe(Object const* object)
{
    return Describe(object->m_id, object->GetModelFile());
}

// Adds a placed mesh to the item's mesh. Where the two materials differ, the
// added triangles without a colour of their own take their material's, so
// that it isn't lost in the merge.
void Place(MStlBase const& mesh, MMTransformMatrix const& placement, MStlBase& target)
{
    std::uint32_t const first = std::uint32_t(target.GetNumberOfTriangles());
    // Cannot run out of indices: the limit of the whole build is far below.
    target.AddStl(mesh, placement, false);
    std::uint32_t const colour = mesh.GetMaterial().GetRGB();
    if (colour == target.GetMaterial().GetRGB())
    {
        return;
    }
    for (std::uint32_t index = first; index < target.GetNumberOfTriangles(); ++index)
    {
        MStlTriangle& triangle = target.TriangleAt(index);
        if (!triangle.GetColor().IsDefined())
        {
            triangle.SetRGB(colour);
        }
    }
}

class Flattening
{
public:
    Flattening(ModelFile const& root, std::uint64_t maxElements, std::vector<std::wstring>& warnings)
        : m_root(root), m_maxElements(maxElements), m_warnings(warnings)
    {
    }

    std::vector<std::unique_ptr<MStlBase>> Run()
    {
        std::vector<std::pair<Object const*, Affine>> items;
        Size total;
        for (Build::Item const& item : m_root.GetBuild().m_items)
        {
            Object const* const object = ItemObject(m_root, item, m_warnings);
            if (object == nullptr)
            {
                continue;
            }
            Size const size = _Measure(object);
            total.Add(size, m_maxElements);
            _CheckLimit(total);
            if (!size.IsEmpty())
            {
                items.emplace_back(object, Affine::Of(item.m_transform));
            }
        }
        std::vector<std::unique_ptr<MStlBase>> meshes;
        for (auto const& [object, placement] : items)
        {
            std::unique_ptr<MStlBase> mesh = _Copy(object, placement);
            if (mesh->GetNumberOfPoints() > 0)
            {
                meshes.push_back(std::move(mesh));
            }
        }
        return meshes;
    }

    std::unique_ptr<MStlBase> One(Object const* object, Affine const& placement)
    {
        _CheckLimit(_Measure(object));
        return _Copy(object, placement);
    }

private:
    // Points, triangles and beams, and the objects the copy visits to place them
    // (none that add nothing), counted up to just past the limit: so copying
    // costs time in proportion to what it makes, also when a long chain of
    // components leads to each copy.
    struct Size
    {
        std::uint64_t points = 0;
        std::uint64_t triangles = 0;
        std::uint64_t beams = 0;
        std::uint64_t placements = 0;

        bool IsEmpty() const { return points == 0 && triangles == 0; }

        void Add(Size const& other, std::uint64_t limit)
        {
            points = std::min(points + other.points, limit + 1);
            triangles = std::min(triangles + other.triangles, limit + 1);
            beams = std::min(beams + other.beams, limit + 1);
            placements = std::min(placements + other.placements, limit + 1);
        }
    };

    void _CheckLimit(Size const& size) const
    {
        if (size.points > m_maxElements || size.triangles > m_maxElements || size.beams > m_maxElements ||
            size.placements > m_maxElements)
        {
            throw Exception(L"The build places its objects more often than can be held: more than " +
                            std::to_wstring(m_maxElements) + L" points, triangles, beams or placed objects.");
        }
    }

    // What the first pass learns of an object.
    struct Node
    {
        bool open = false; // on the path being measured
        bool done = false;
        MStlBase const* mesh = nullptr;
        Size size;
        // The components that find their object, with their transformations.
        std::vector<std::pair<Node const*, Affine>> placed;
    };

    // Depth first without recursion, since component chains may be very
    // deep; the path is the stack, so a cycle is found where it closes.
    Size _Measure(Object const* root)
    {
        struct Frame
        {
            Object const* object;
            std::size_t next;
        };
        std::vector<Frame> path;
        auto enter = [this, &path](Object const* object)
        {
            Node& node = m_nodes[object];
            if (node.open)
            {
                throw Exception(_CycleMessage(path, object));
            }
            if (!node.done)
            {
                node.open = true;
                path.push_back({object, 0});
            }
        };
        enter(root);
        while (!path.empty())
        {
            Frame& frame = path.back();
            std::vector<Component> const& components = frame.object->m_components;
            if (frame.next < components.size())
            {
                Component const& component = components[frame.next++];
                Node& node = m_nodes[frame.object];
                if (component.m_object == nullptr)
                {
                    _WarnDangling(frame.object, component);
                    continue;
                }
                node.placed.emplace_back(&m_nodes[component.m_object], Affine::Of(component.m_transform));
                enter(component.m_object);
                continue;
            }
            Node& node = m_nodes[frame.object];
            node.mesh = MeshOf(frame.object);
            if (node.mesh != nullptr)
            {
                node.size.points = node.mesh->GetNumberOfPoints();
                node.size.triangles = node.mesh->GetNumberOfTriangles();
                node.size.beams = node.mesh->GetFeature().GetNumEdges();
            }
            for (auto const& [child, transform] : node.placed)
            {
                node.size.Add(child->size, m_maxElements);
            }
            if (!node.size.IsEmpty())
            {
                node.size.Add(Size{0, 0, 0, 1}, m_maxElements);
            }
            node.open = false;
            node.done = true;
            path.pop_back();
        }
        return m_nodes[root].size;
    }

    void _WarnDangling(Object const* owner, Component const& component)
    {
        std::wstring const target = component.m_modelFile != nullptr
                                        ? L"refers to " +
                                              Describe(component.m_objectID, component.m_modelFile) +
                                              L", which does not exist"
                                        : std::wstring(L"refers to no object");
        m_warnings.push_back(L"A component of " + Describe(owner) + L" " + target + L"; it is left out.");
    }

    template <typename Path>
    static std::wstring _CycleMessage(Path const& path, Object const* closing)
    {
        constexpr std::size_t kNamed = 8;
        auto start = std::find_if(path.begin(), path.end(),
                                  [closing](auto const& frame) { return frame.object == closing; });
        std::wstring message = L"The components of " + Describe(closing) + L" form a cycle: ";
        std::size_t named = 0;
        for (auto frame = start; frame != path.end(); ++frame, ++named)
        {
            if (named == kNamed)
            {
                message += L"... > ";
                break;
            }
            message += Describe(frame->object) + L" > ";
        }
        return message + Describe(closing) + L".";
    }

    // Each object before its components and these in order. Only the item's
    // own object replaces the mesh; an item of components only starts from
    // an empty mesh.
    std::unique_ptr<MStlBase> _Copy(Object const* root, Affine const& transform) const
    {
        double const unitFactor = m_root.GetUnits().m_factor;
        auto target = std::make_unique<MStlBase>();
        MMTransformMatrix matrix;
        std::vector<std::pair<Node const*, Affine>> pending{{&m_nodes.at(root), transform}};
        bool first = true;
        while (!pending.empty())
        {
            auto const [node, placement] = pending.back();
            pending.pop_back();
            if (node->mesh != nullptr)
            {
                SetInternalPlacement(placement, unitFactor, matrix);
                if (first)
                {
                    target = std::make_unique<MStlBase>(*node->mesh);
                    target->Transform(matrix);
                }
                else
                {
                    Place(*node->mesh, matrix, *target);
                }
            }
            else if (first)
            {
                // An object of components only: the mesh is named and typed
                // as the object, not left with a new mesh's defaults.
                target->SetName(root->m_name.c_str());
                SetPartFlags(*target, root->m_type);
            }
            first = false;
            std::vector<std::pair<Node const*, Affine>> const& placed = node->placed;
            for (auto child = placed.rbegin(); child != placed.rend(); ++child)
            {
                if (!child->first->size.IsEmpty())
                {
                    pending.emplace_back(child->first, placement * child->second);
                }
            }
        }
        return target;
    }

    ModelFile const& m_root;
    std::uint64_t const m_maxElements;
    std::vector<std::wstring>& m_warnings;
    std::unordered_map<Object const*, Node> m_nodes;
};
} // namespace

Object const* ItemObject(ModelFile const& root, Build::Item const& item, std::vector<std::wstring>& warnings)
{
    ModelFile const* const file = item.m_modelFile != nullptr ? item.m_modelFile : &root;
    auto const* object = dynamic_cast<Object const*>(file->GetReference(item.m_objectID));
    if (object == nullptr)
    {
        warnings.push_back(L"A build item refers to " + Describe(item.m_objectID, file) +
                           L", which does not exist; it is left out.");
    }
    return object;
}

std::vector<std::unique_ptr<MStlBase>> FlattenBuild(ModelFile const& root, std::uint64_t maxElements,
                                                    std::vector<std::wstring>& warnings)
{
    return Flattening(root, maxElements, warnings).Run();
}

std::unique_ptr<MStlBase> FlattenObject(ModelFile const& root, Object const& object,
                                        MMTransformMatrix const& transform, std::uint64_t maxElements,
                                        std::vector<std::wstring>& warnings)
{
    return Flattening(root, maxElements, warnings).One(&object, Affine::Of(transform));
}
} // namespace Format_3MF
