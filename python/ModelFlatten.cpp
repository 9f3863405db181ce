// Model.flatten(): the meshes that read() gives, made from the model as
// Python holds it. The coordinates are placed by the library's own mesh
// transforms, in the order its flattening of a build takes, so that they come
// out bit for bit as read() gives them; the other arrays are joined here.
#include "MeshArrays.h"
#include "Model.h"

#include "common/MInternalUnits.h"
#include "common/MMTransformMatrix.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlPoint.h"

#include <limits>
#include <map>
#include <set>

namespace py = pybind11;

namespace format3mf::python
{
namespace
{
// A mesh of the flat result and where its vertices went.
struct Piece
{
    CheckedMesh const* mesh;
    std::size_t firstVertex;
};

// A translation in millimetres as internal units, rounded half away from
// zero to 32 bits; beyond them the lowest, as the library converts it.
double InternalTranslation(double value)
{
    double t = value * OndSDK::Common::MInternalUnits::Get();
    t += t >= 0 ? 0.5 : -0.5;
    if (!(t > double(std::numeric_limits<std::int32_t>::min()) - 1.0 &&
          t < double(std::numeric_limits<std::int32_t>::max()) + 1.0))
    {
        return double(std::numeric_limits<std::int32_t>::min());
    }
    return double(std::int32_t(t));
}

using Affine = std::array<std::array<double, 4>, 3>;

Affine AffineOf(py::handle transform, std::string const& label)
{
    py::array_t<double> const checked = CheckTransform(transform, label);
    auto const matrix = checked.unchecked<2>();
    Affine result;
    for (int row = 0; row < 3; ++row)
    {
        for (int column = 0; column < 4; ++column)
        {
            result[row][column] = matrix(row, column);
        }
    }
    return result;
}

// Parent on the left, summed in the order of the library's composition.
Affine operator*(Affine const& parent, Affine const& child)
{
    Affine result;
    for (int row = 0; row < 3; ++row)
    {
        for (int column = 0; column < 4; ++column)
        {
            double sum = 0.0;
            for (int k = 0; k < 3; ++k)
            {
                sum += parent[row][k] * child[k][column];
            }
            result[row][column] = column == 3 ? sum + parent[row][3] : sum;
        }
    }
    return result;
}

MMTransformMatrix Internal(Affine const& placement)
{
    MMTransformMatrix matrix;
    for (unsigned short row = 0; row < 3; ++row)
    {
        for (unsigned short column = 0; column < 3; ++column)
        {
            matrix.AccessElement(row, column) = placement[row][column];
        }
        matrix.AccessElement(row, 3) = InternalTranslation(placement[row][3]);
    }
    return matrix;
}

class Flattening
{
public:
    // The item's object and its components placed, in one mesh; null where
    // they hold no geometry.
    std::unique_ptr<Mesh> Item(py::handle root, Affine const& placement)
    {
        if (!HasGeometry(root))
        {
            return nullptr;
        }
        std::unique_ptr<MStlBase> target = std::make_unique<MStlBase>();
        std::vector<Piece> pieces;
        std::vector<std::pair<py::handle, Affine>> pending{{root, placement}};
        bool first = true;
        while (!pending.empty())
        {
            auto const [object, at] = pending.back();
            pending.pop_back();
            Object const& node = object.cast<Object const&>();
            if (!node.mesh.is_none())
            {
                auto const& [checked, points] = Converted(object);
                pieces.push_back({&checked, target->GetNumberOfPoints()});
                if (first)
                {
                    target = std::make_unique<MStlBase>(*points);
                    target->Transform(Internal(at));
                }
                else
                {
                    target->AddStl(*points, Internal(at), true);
                }
            }
            first = false;
            for (std::size_t i = node.components.size(); i-- > 0;)
            {
                Component const& component = node.components[i].cast<Component const&>();
                if (HasGeometry(component.object))
                {
                    pending.emplace_back(component.object,
                                         at * AffineOf(component.transform, "a component's transform"));
                }
            }
        }
        if (target->GetNumberOfPoints() == 0)
        {
            return nullptr;
        }
        Object const& top = root.cast<Object const&>();
        // An item of components only starts from a new mesh, of the default
        // material.
        std::string const name = top.mesh.is_none() ? top.name : pieces.front().mesh->name;
        std::uint32_t const material =
            top.mesh.is_none() ? CheckedMesh().material : pieces.front().mesh->material;
        return std::make_unique<Mesh>(Join(pieces, target.get(), name, material));
    }

    // The meshes one after another, as reading as one part merges them;
    // `target` holds the placed vertices, or null where they stay as they are.
    // The triangles of a mesh whose material differs from the result's take
    // that material as their colour, as the library's merge gives them.
    static Mesh Join(std::vector<Piece> const& pieces, MStlBase const* target, std::string const& name,
                     std::uint32_t material)
    {
        std::size_t vertices = 0;
        std::size_t triangles = 0;
        std::size_t beams = 0;
        bool colours = false;
        bool textured = false;
        for (Piece const& piece : pieces)
        {
            vertices += piece.mesh->vertices.shape(0);
            triangles += piece.mesh->triangles.shape(0);
            beams += piece.mesh->beamCount;
            colours = colours || piece.mesh->colourData != nullptr || piece.mesh->material != material;
            textured = textured || piece.mesh->textureIdData != nullptr;
        }
        Mesh mesh;
        mesh.name = name;
        py::array_t<double> xyz({vertices, std::size_t(3)});
        py::array_t<std::uint32_t> corners({triangles, std::size_t(3)});
        py::array_t<std::uint8_t> rgba({colours ? triangles : 0, std::size_t(3), std::size_t(4)});
        py::array_t<float> uvs({textured ? triangles : 0, std::size_t(3), std::size_t(2)});
        py::array_t<std::int32_t> ids(textured ? triangles : 0);
        py::array_t<std::uint32_t> ends({beams, std::size_t(2)});
        py::array_t<double> radii({beams, std::size_t(2)});
        py::list images;
        double const unit = OndSDK::Common::MInternalUnits::Get();
        std::size_t t = 0;
        std::size_t b = 0;
        for (Piece const& piece : pieces)
        {
            CheckedMesh const& from = *piece.mesh;
            std::size_t const n = from.vertices.shape(0);
            std::size_t const m = from.triangles.shape(0);
            double* const out = xyz.mutable_data() + 3 * piece.firstVertex;
            for (std::size_t i = 0; i < n; ++i)
            {
                if (target == nullptr)
                {
                    std::copy_n(from.vertices.data() + 3 * i, 3, out + 3 * i);
                    continue;
                }
                MStlPoint const& point = target->PointAt(std::uint32_t(piece.firstVertex + i));
                out[3 * i] = point.GetX() / unit;
                out[3 * i + 1] = point.GetY() / unit;
                out[3 * i + 2] = point.GetZ() / unit;
            }
            for (std::size_t i = 0; i < 3 * m; ++i)
            {
                corners.mutable_data()[3 * t + i] =
                    from.triangles.data()[i] + std::uint32_t(piece.firstVertex);
            }
            for (std::size_t i = 0; colours && i < 12 * m; ++i)
            {
                // A triangle without a colour of its own shows its material.
                rgba.mutable_data()[12 * t + i] = from.colourData != nullptr ? from.colourData[i]
                                                  : i % 4 == 3               ? 255
                                                               : (from.material >> (8 * (i % 4))) & 0xFF;
            }
            if (textured)
            {
                // An image shown by several meshes is one texture.
                std::vector<std::int32_t> index;
                for (std::size_t k = 0; !from.textures.is_none() && k < from.images.size(); ++k)
                {
                    py::handle const image = from.textures[py::int_(k)];
                    std::size_t at = 0;
                    while (at < images.size() && images[at].ptr() != image.ptr())
                    {
                        ++at;
                    }
                    if (at == images.size())
                    {
                        images.append(image);
                    }
                    index.push_back(std::int32_t(at));
                }
                for (std::size_t i = 0; i < m; ++i)
                {
                    std::int32_t const id = from.textureIdData != nullptr ? from.textureIdData[i] : -1;
                    ids.mutable_data()[t + i] = id < 0 ? -1 : index[std::size_t(id)];
                    for (int k = 0; k < 6; ++k)
                    {
                        uvs.mutable_data()[6 * (t + i) + k] = id < 0 ? 0.0f : from.uvData[6 * i + k];
                    }
                }
            }
            for (std::size_t i = 0; i < from.beamCount; ++i, ++b)
            {
                for (int k = 0; k < 2; ++k)
                {
                    ends.mutable_data()[2 * b + k] =
                        from.beamData[2 * i + k] + std::uint32_t(piece.firstVertex);
                    radii.mutable_data()[2 * b + k] = from.radiusData[2 * i + k];
                }
            }
            t += m;
        }
        mesh.vertices = std::move(xyz);
        mesh.triangles = std::move(corners);
        mesh.triangle_colors = colours ? py::object(std::move(rgba)) : py::none();
        mesh.uvs = textured ? py::object(std::move(uvs)) : py::none();
        mesh.texture_ids = textured ? py::object(std::move(ids)) : py::none();
        mesh.textures = textured ? py::object(std::move(images)) : py::none();
        mesh.beams = beams != 0 ? py::object(std::move(ends)) : py::none();
        mesh.beam_radii = beams != 0 ? py::object(std::move(radii)) : py::none();
        mesh.material = ColourText(material);
        return mesh;
    }

private:
    // Whether the object or what its components place holds a vertex or a
    // triangle; a cycle of components is a ValueError.
    bool HasGeometry(py::handle object)
    {
        PyObject* const key = object.ptr();
        if (auto const known = m_geometry.find(key); known != m_geometry.end())
        {
            return known->second;
        }
        if (!py::isinstance<Object>(object))
        {
            throw py::type_error("an item or component places " + py::repr(object).cast<std::string>() +
                                 ", not an ond3mf.Object");
        }
        if (!m_open.insert(key).second)
        {
            throw py::value_error("the components of object " +
                                  std::to_string(object.cast<Object const&>().id) + " form a cycle");
        }
        Object const& node = object.cast<Object const&>();
        bool geometry = false;
        if (!node.mesh.is_none())
        {
            CheckedMesh const& checked = Converted(object).first;
            geometry = checked.vertices.shape(0) != 0 || checked.triangles.shape(0) != 0;
        }
        for (py::handle component : node.components)
        {
            geometry = HasGeometry(component.cast<Component const&>().object) || geometry;
        }
        m_open.erase(key);
        m_geometry[key] = geometry;
        return geometry;
    }

    // The object's mesh checked, and its vertices as a mesh of the library.
    std::pair<CheckedMesh, std::unique_ptr<MStlBase>> const& Converted(py::handle object)
    {
        auto& entry = m_meshes[object.ptr()];
        if (!entry.second)
        {
            Object const& node = object.cast<Object const&>();
            entry.first = CheckMesh(node.mesh, "the mesh of object " + std::to_string(node.id), false, false);
            entry.second = std::make_unique<MStlBase>();
            std::vector<std::int32_t> xyz(std::size_t(entry.first.vertices.size()));
            for (std::size_t i = 0; i < xyz.size(); ++i)
            {
                xyz[i] = ToInternal(entry.first.vertices.data()[i]);
            }
            entry.second->AddPoints(xyz.data(), xyz.size() / 3);
        }
        return entry;
    }

    std::map<PyObject*, std::pair<CheckedMesh, std::unique_ptr<MStlBase>>> m_meshes;
    std::map<PyObject*, bool> m_geometry;
    std::set<PyObject*> m_open;
};
} // namespace

py::list Flatten(Model const& model, bool asOne)
{
    Flattening flattening;
    std::vector<std::unique_ptr<Mesh>> meshes;
    for (py::handle entry : model.items)
    {
        Item const& item = entry.cast<Item const&>();
        if (auto mesh = flattening.Item(item.object, AffineOf(item.transform, "an item's transform")))
        {
            meshes.push_back(std::move(mesh));
        }
    }
    py::list result;
    if (asOne && meshes.size() > 1)
    {
        std::vector<CheckedMesh> checked;
        for (auto const& mesh : meshes)
        {
            checked.push_back(CheckMesh(py::cast(*mesh), "a flattened mesh", false, false));
        }
        std::vector<Piece> pieces;
        std::size_t first = 0;
        for (CheckedMesh const& mesh : checked)
        {
            pieces.push_back({&mesh, first});
            first += mesh.vertices.shape(0);
        }
        result.append(Flattening::Join(pieces, nullptr, meshes.front()->name, checked.front().material));
        return result;
    }
    for (auto& mesh : meshes)
    {
        result.append(std::move(*mesh));
    }
    return result;
}
} // namespace format3mf::python
