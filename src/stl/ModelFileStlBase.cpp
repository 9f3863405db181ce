#include "format3mf/ModelFileStlBase.h"

#include "format3mf/Exception.h"
#include "format3mf/MergeStl.h"
#include "format3mf/MeshStlBase.h"
#include "format3mf/Object.h"
#include "format3mf/Transformation.h"

#include "triangles/MStlBase.h"

#include <memory>
#include <unordered_map>
#include <utility>

namespace Format_3MF
{
namespace
{
// What one package may flatten into, points, triangles and beams each. Components
// may place one object many times over, so a small file can ask for any
// number of copies; far beyond what a real part has, this still fits in the
// memory of a workstation.
constexpr std::uint64_t kMaxFlattenedElements = std::uint64_t(1) << 28;

struct FlatSize
{
    std::uint64_t points = 0;
    std::uint64_t triangles = 0;
    std::uint64_t beams = 0;
};

MStlBase const* MeshOf(Object const* object)
{
    auto const* mesh = dynamic_cast<MeshStlBase const*>(object->m_mesh.get());
    return mesh != nullptr ? const_cast<MeshStlBase*>(mesh)->GetStl(false) : nullptr;
}

std::wstring Name(Object const* object)
{
    return L"Object " + std::to_wstring(int(object->m_id));
}

// The size of an object with all its components placed, found without
// recursion (component chains may be very deep), which also finds cycles
// and components that lead nowhere before anything is copied.
class FlatSizes
{
public:
    FlatSize Of(Object const* root)
    {
        std::vector<Object const*> stack{root};
        while (!stack.empty())
        {
            Object const* object = stack.back();
            auto [entry, fresh] = m_states.try_emplace(object);
            if (fresh)
            {
                entry->second.open = true;
                for (Component const& component : object->m_components)
                {
                    if (component.m_object == nullptr)
                    {
                        throw Exception(L"A component of " + Name(object) + L" refers to no object.");
                    }
                    auto const found = m_states.find(component.m_object);
                    if (found != m_states.end() && found->second.open)
                    {
                        throw Exception(L"The components of " + Name(component.m_object) + L" form a cycle.");
                    }
                    if (found == m_states.end())
                    {
                        stack.push_back(component.m_object);
                    }
                }
                continue;
            }
            stack.pop_back();
            if (!entry->second.open)
            {
                continue; // reached twice before it was finished
            }
            FlatSize size;
            if (MStlBase const* mesh = MeshOf(object))
            {
                size.points = mesh->GetNumberOfPoints();
                size.triangles = mesh->GetNumberOfTriangles();
                size.beams = mesh->GetFeature().GetNumEdges();
            }
            for (Component const& component : object->m_components)
            {
                FlatSize const& part = m_states.at(component.m_object).size;
                size.points = Add(size.points, part.points, object);
                size.triangles = Add(size.triangles, part.triangles, object);
                size.beams = Add(size.beams, part.beams, object);
            }
            entry->second.size = size;
            entry->second.open = false;
        }
        return m_states.at(root).size;
    }

    static std::uint64_t Add(std::uint64_t a, std::uint64_t b, Object const* object)
    {
        if (a + b > kMaxFlattenedElements)
        {
            throw Exception(Name(object) + L" places its components more often than can be held.");
        }
        return a + b;
    }

private:
    struct State
    {
        bool open = false;
        FlatSize size;
    };
    std::unordered_map<Object const*, State> m_states;
};
} // namespace

ModelFileStlBase::ModelFileStlBase() : ModelFile(L"", nullptr) {}

ModelFileStlBase::ModelFileStlBase(std::wstring const& name, ModelFile* parent) : ModelFile(name, parent) {}

ModelFileStlBase::~ModelFileStlBase() = default;

ModelFile* ModelFileStlBase::_CreateRelatedModelFile(std::wstring const& name)
{
    return new ModelFileStlBase(name, this);
}

IMesh* ModelFileStlBase::_CreateMesh(Object* object, PackageReadContext* context)
{
    auto stl = std::make_unique<MStlBase>();
    auto* const mesh = new MeshStlBase(stl.get(), this, object, context);
    mesh->SetStl(stl.get(), true);
    if (object != nullptr)
    {
        stl->SetName(object->m_name.c_str());
    }
    stl.release();
    return mesh;
}

void ModelFileStlBase::_OnStartWriting(PackageWriteContext* context)
{
    // Lives for this step: one bitmap used by several meshes is one image.
    MeshStlBaseRegistry registry;
    for (MStlBase* const stl : m_stls)
    {
        ModelFile* const file = Utilities::GetModelFileForNewObject(this, context);
        auto owned = std::make_unique<Object>(file);
        Object* const object = owned.get();
        file->GetResources().m_objects.push_back(std::move(owned));
        file->Register(*object, -1);
        // The mesh refers to this root file, whichever file holds the object.
        object->m_mesh = std::make_unique<MeshStlBase>(stl, this, object, context, registry);
        object->m_name = stl->GetName();
        // Unlike preparing the mesh, a solid support goes back as a model.
        object->m_type = stl->m_partIsSolid ? 0 : stl->m_partIsSupport ? 1 : 3;
    }
    _MakeDummyBuild();
    ModelFile::_OnStartWriting(context);
}

void ModelFileStlBase::_OnStopReading(PackageReadContext* context)
{
    ModelFile::_OnStopReading(context);
    // Only the root's build says what to make; a related part that has a
    // build of its own would make meshes that nobody takes.
    if (GetParent() != nullptr)
    {
        return;
    }
    // Meshes are kept here until every item is done, so that a failure
    // half-way leaves nothing behind.
    std::vector<std::unique_ptr<MStlBase>> made;
    FlatSizes sizes;
    FlatSize total;
    for (Build::Item const& item : GetBuild().m_items)
    {
        ModelFile const* const file = item.m_modelFile != nullptr ? item.m_modelFile : this;
        auto const* object = dynamic_cast<Object const*>(file->GetReference(item.m_objectID));
        if (object == nullptr)
        {
            throw Exception(L"A build item refers to object " + std::to_wstring(int(item.m_objectID)) +
                            L", which does not exist.");
        }
        FlatSize const size = sizes.Of(object);
        total.points = FlatSizes::Add(total.points, size.points, object);
        total.triangles = FlatSizes::Add(total.triangles, size.triangles, object);
        total.beams = FlatSizes::Add(total.beams, size.beams, object);

        made.push_back(std::make_unique<MStlBase>());
        _AddObjectToStl(object, item.m_transform, made.back());
        if (made.back()->GetNumberOfPoints() == 0)
        {
            made.pop_back();
        }
    }
    for (auto& mesh : made)
    {
        m_stls.push_back(mesh.release());
    }
}

void ModelFileStlBase::_AddObjectToStl(Object const* root, MMTransformMatrix const& transform,
                                       std::unique_ptr<MStlBase>& target) const
{
    // Depth first, each object before its components and these in order,
    // without recursion: component chains may be very deep.
    std::vector<std::pair<Object const*, MMTransformMatrix>> pending{{root, transform}};
    bool first = true;
    while (!pending.empty())
    {
        auto [object, placement] = std::move(pending.back());
        pending.pop_back();
        if (MStlBase const* mesh = MeshOf(object))
        {
            auto copy = std::make_unique<MStlBase>(*mesh);
            if (!placement.IsIdentity())
            {
                copy->Transform(ConvertTransformationFileUnitsToInternalUnits(placement, GetUnits()));
            }
            if (first)
            {
                target = std::move(copy);
            }
            else
            {
                format3mf::import::MergeStlInto(copy.get(), target.get());
            }
        }
        first = false;
        for (auto component = object->m_components.rbegin(); component != object->m_components.rend();
             ++component)
        {
            pending.emplace_back(component->m_object, placement * component->m_transform);
        }
    }
}
} // namespace Format_3MF
