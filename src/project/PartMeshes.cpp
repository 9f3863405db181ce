// Taking, copying and unpainting the meshes of a model for the parts of a
// project.
#include "project/PartMeshes.h"

#include "project/PaintedMesh.h"

#include "format3mf/Object.h"

#include "triangles/MStlBase.h"
#include "triangles/MStlPoint.h"
#include "triangles/MStlTriangle.h"

namespace format3mf::project
{
// The project's readers build on the model's classes.
using namespace Format_3MF;

std::wstring DescribeObject(Object const& object)
{
    return L"object " + std::to_wstring(int(object.m_id)) + L" of " +
           object.GetModelFile()->GetFileNameInPackage();
}

std::unique_ptr<MStlBase> TakeMesh(MeshStlBase& binding, MMTransformMatrix const& placement)
{
    std::unique_ptr<MStlBase> mesh(binding.GetStl(true));
    // The masks of the read hang on the mesh, which is no longer the
    // binding's.
    binding.m_triangleProperties.reset();
    binding.SetStl(nullptr, false);
    mesh->Transform(placement);
    return mesh;
}

std::unique_ptr<MStlBase> CopyTriangles(MStlBase const& source, std::uint64_t first, std::uint64_t end,
                                        MMTransformMatrix const& placement)
{
    auto mesh = std::make_unique<MStlBase>();
    mesh->GetMaterial() = source.GetMaterial();
    std::vector<MStlPoint*> points(source.GetNumberOfPoints(), nullptr);
    for (std::uint64_t index = first; index < end; ++index)
    {
        MStlTriangle const& triangle = source.TriangleAt(std::uint32_t(index));
        MStlPoint* corners[3];
        for (unsigned corner = 0; corner < 3; ++corner)
        {
            std::uint32_t const point = triangle.GetPointIndex(corner);
            MStlPoint*& copy = points[point];
            if (copy == nullptr)
            {
                MStlPoint const& original = source.PointAt(point);
                copy = mesh->AddPoint(original.GetX(), original.GetY(), original.GetZ());
            }
            corners[corner] = copy;
        }
        MStlTriangle* const added = mesh->AddTriangle(corners[0], corners[1], corners[2]);
        if (added != nullptr && triangle.GetColor().IsDefined())
        {
            added->SetColor(triangle.GetColor());
        }
    }
    mesh->Transform(placement);
    return mesh;
}

std::set<Object const*> RevertFailedPaint(ModelFile& root, std::vector<std::wstring>& warnings)
{
    std::set<Object const*> failed;
    ForEachModelFile(
        root,
        [&](ModelFile& file)
        {
            for (auto const& object : file.GetResources().m_objects)
            {
                auto* const mesh = dynamic_cast<PaintedMesh*>(object->m_mesh.get());
                if (mesh == nullptr || mesh->m_stl == nullptr)
                {
                    continue;
                }
                if (mesh->HasFailed())
                {
                    warnings.push_back(L"The paint of " + DescribeObject(*object) + L" is not read: " +
                                       mesh->GetFailure() + L"; the object is read as plain geometry.");
                    mesh->Revert();
                    failed.insert(object.get());
                }
                if (mesh->GetColourlessPaint() != 0)
                {
                    warnings.push_back(L"The paint of " + std::to_wstring(mesh->GetColourlessPaint()) +
                                       L" triangles of " + DescribeObject(*object) +
                                       L" is not read: the project lists no filament colours.");
                }
                if (mesh->GetOtherPaintTriangles() != 0)
                {
                    warnings.push_back(L"The support, seam and fuzzy-skin paint of " +
                                       std::to_wstring(mesh->GetOtherPaintTriangles()) + L" triangles of " +
                                       DescribeObject(*object) + L" is not read.");
                }
            }
        });
    return failed;
}

void Unpaint(Object const& object)
{
    std::vector<Object const*> pending{&object};
    std::set<Object const*> seen;
    while (!pending.empty())
    {
        Object const* const next = pending.back();
        pending.pop_back();
        if (!seen.insert(next).second)
        {
            continue;
        }
        auto* const mesh = dynamic_cast<PaintedMesh*>(next->m_mesh.get());
        if (mesh != nullptr && mesh->m_stl != nullptr && mesh->HasPaint())
        {
            mesh->Revert();
        }
        for (Component const& component : next->m_components)
        {
            if (component.m_object != nullptr)
            {
                pending.push_back(component.m_object);
            }
        }
    }
}
} // namespace format3mf::project
