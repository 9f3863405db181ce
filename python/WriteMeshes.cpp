// From numpy arrays to a mesh of the library: every field checked first, so
// that nothing is written from a bad one, then built without the GIL.
#include "MeshArrays.h"

#include "common/MInternalUnits.h"
#include "common/StringConversion.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlColorMaskTrianglePoints.h"
#include "triangles/MStlTriangle.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace py = pybind11;

namespace format3mf::python
{
namespace
{
[[noreturn]] void Bad(std::string const& label, char const* field, std::string const& what)
{
    throw py::value_error(label + ": " + field + " " + what);
}

std::string Shape(py::array const& array)
{
    std::string text = "(";
    for (py::ssize_t i = 0; i < array.ndim(); ++i)
    {
        text += (i == 0 ? "" : ", ") + std::to_string(array.shape(i));
    }
    return text + (array.ndim() == 1 ? ",)" : ")");
}

// What a field's numbers must be: the kinds of numpy's dtypes it takes ('f'
// floating, 'i'/'u' integer), their size in bytes (0 for any) and the words
// that say so.
struct Numbers
{
    char const* kinds;
    py::ssize_t size;
    char const* words;
};
constexpr Numbers kFloating{"f", 0, "hold floating-point numbers"};
constexpr Numbers kIntegers{"iu", 0, "hold integer numbers"};
constexpr Numbers kBytes{"u", 1, "be uint8 (unsigned 8-bit)"};

// The field as an array of those numbers and of shape (any, rest...), or a
// ValueError naming it; None for an optional field that is not there.
py::object Field(py::handle mesh, char const* field, std::string const& label, Numbers const& numbers,
                 std::vector<py::ssize_t> const& rest, bool optional)
{
    if (!py::hasattr(mesh, field) || mesh.attr(field).is_none())
    {
        if (optional)
        {
            return py::none();
        }
        Bad(label, field, "is missing");
    }
    py::array const array = py::array::ensure(mesh.attr(field));
    if (!array)
    {
        Bad(label, field, "is not an array");
    }
    if (std::string(numbers.kinds).find(array.dtype().kind()) == std::string::npos ||
        (numbers.size != 0 && array.itemsize() != numbers.size))
    {
        Bad(label, field,
            std::string("must ") + numbers.words + ", not " + py::str(array.dtype()).cast<std::string>());
    }
    bool shaped = array.ndim() == py::ssize_t(rest.size() + 1);
    for (std::size_t i = 0; shaped && i < rest.size(); ++i)
    {
        shaped = array.shape(py::ssize_t(i + 1)) == rest[i];
    }
    if (!shaped)
    {
        std::string wanted = "(n";
        for (py::ssize_t extent : rest)
        {
            wanted += ", " + std::to_string(extent);
        }
        Bad(label, field, "must have shape " + wanted + "), not " + Shape(array));
    }
    return array;
}
} // namespace

CheckedMesh CheckMesh(py::handle mesh, std::string const& label)
{
    CheckedMesh checked;
    checked.vertices = Field(mesh, "vertices", label, kFloating, {3}, false);
    checked.triangles = Field(mesh, "triangles", label, kIntegers, {3}, false);
    py::object const field = Field(mesh, "triangle_colors", label, kBytes, {3, 4}, true);
    // Coordinates go to 32-bit internal units.
    double const limit = std::numeric_limits<std::int32_t>::max() / OndSDK::Common::MInternalUnits::Get();
    double const* v = checked.vertices.data();
    for (py::ssize_t i = 0, n = checked.vertices.size(); i < n; ++i)
    {
        if (!std::isfinite(v[i]) || std::fabs(v[i]) > limit)
        {
            Bad(label, "vertices",
                "has " + std::to_string(v[i]) + " at vertex " + std::to_string(i / 3) +
                    ": coordinates must be finite and within +-" + std::to_string(static_cast<long>(limit)) +
                    " mm");
        }
    }
    std::int64_t const count = checked.vertices.shape(0);
    std::int64_t const* t = checked.triangles.data();
    for (py::ssize_t i = 0, n = checked.triangles.size(); i < n; ++i)
    {
        if (t[i] < 0 || t[i] >= count)
        {
            Bad(label, "triangles",
                "refers to vertex " + std::to_string(t[i]) + " in triangle " + std::to_string(i / 3) +
                    ", of " + std::to_string(count) + " vertices");
        }
        // A triangle on a vertex twice has no area; a 3MF mesh may not hold it.
        if (i % 3 == 2 && (t[i] == t[i - 1] || t[i] == t[i - 2] || t[i - 1] == t[i - 2]))
        {
            Bad(label, "triangles", "has triangle " + std::to_string(i / 3) + " on one vertex twice");
        }
    }
    if (!field.is_none())
    {
        py::array const colors = field;
        if (colors.shape(0) != checked.triangles.shape(0))
        {
            Bad(label, "triangle_colors",
                "has " + std::to_string(colors.shape(0)) + " rows for " +
                    std::to_string(checked.triangles.shape(0)) + " triangles");
        }
        checked.colors = py::array_t<std::uint8_t, py::array::c_style>::ensure(colors);
        checked.hasColors = true;
    }
    if (py::hasattr(mesh, "name") && !mesh.attr("name").is_none())
    {
        checked.name = py::str(mesh.attr("name")).cast<std::string>();
    }
    return checked;
}

BuiltMesh ToMesh(CheckedMesh const& checked)
{
    BuiltMesh built;
    built.mesh = std::make_unique<MStlBase>();
    MStlBase& mesh = *built.mesh;
    mesh.SetName(StringConversion::ConvertUTF8ToNative(checked.name.data(), checked.name.size()).c_str());
    // Into the mesh in bulk, a batch at a time: the arrays were checked, so
    // every index names a vertex and no triangle names one twice.
    constexpr std::size_t kBatch = 65536;
    double const unit = OndSDK::Common::MInternalUnits::Get();
    std::size_t const vertexCount = static_cast<std::size_t>(checked.vertices.shape(0));
    std::vector<std::int32_t> xyz(3 * std::min(kBatch, vertexCount));
    double const* v = checked.vertices.data();
    for (std::size_t done = 0; done < vertexCount;)
    {
        std::size_t const batch = std::min(kBatch, vertexCount - done);
        for (std::size_t i = 0; i < 3 * batch; ++i)
        {
            // Half away from zero, as lengths read from files are.
            xyz[i] = static_cast<std::int32_t>(std::round(v[3 * done + i] * unit));
        }
        mesh.AddPoints(xyz.data(), batch);
        done += batch;
    }
    std::int64_t const* t = checked.triangles.data();
    std::size_t const count = static_cast<std::size_t>(checked.triangles.shape(0));
    std::vector<std::uint32_t> corners(3 * std::min(kBatch, count));
    for (std::size_t done = 0; done < count;)
    {
        std::size_t const batch = std::min(kBatch, count - done);
        for (std::size_t i = 0; i < 3 * batch; ++i)
        {
            corners[i] = static_cast<std::uint32_t>(t[3 * done + i]);
        }
        mesh.AddTriangles(corners.data(), batch);
        done += batch;
    }
    if (checked.hasColors)
    {
        std::uint8_t const* colors = checked.colors.data();
        built.colors = std::make_unique<MStlColorMaskTrianglePoints>(&mesh.GetTriangleMaskOwner());
        for (std::size_t i = 0; i < count; ++i)
        {
            MStlColorTrianglePoints& triangle = built.colors->GetInfo(static_cast<std::uint32_t>(i));
            for (int corner = 0; corner < 3; ++corner)
            {
                std::uint8_t const* rgba = colors + 12 * i + 4 * corner;
                triangle.m_colors[corner] =
                    MStlColor(rgba[0] | (rgba[1] << 8) | (std::uint32_t(rgba[2]) << 16));
            }
        }
    }
    return built;
}
} // namespace format3mf::python
