// What write, Model.save and Mesh() take from Python, checked and turned into
// Mesh's dtypes first, so that nothing is written from a bad field.
#include "MeshArrays.h"

#include "common/MInternalUnits.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>
#include <vector>

namespace py = pybind11;

namespace format3mf::python
{
namespace
{
[[noreturn]] void Bad(std::string const& label, std::string const& field, std::string const& what)
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

std::string Wanted(std::vector<py::ssize_t> const& rest)
{
    std::string wanted = "(n";
    for (py::ssize_t extent : rest)
    {
        wanted += ", " + std::to_string(extent);
    }
    return wanted + (rest.empty() ? ",)" : ")");
}

// What a field's numbers must be: the kinds of numpy's dtypes it takes ('f'
// floating, 'i'/'u' integer) and the words that say so.
struct Numbers
{
    char const* kinds;
    char const* words;
};
constexpr Numbers kReal{"fiu", "hold real or integer numbers"};
constexpr Numbers kFloating{"f", "hold floating-point numbers"};
constexpr Numbers kIntegers{"iu", "hold integer numbers"};

// The attribute, or None where the object has none.
py::object Attribute(py::handle owner, char const* name)
{
    return py::hasattr(owner, name) ? py::reinterpret_borrow<py::object>(owner.attr(name)) : py::none();
}

// The value as an array of those numbers, or a ValueError naming it.
py::array Numeric(py::handle value, std::string const& field, std::string const& label,
                  Numbers const& numbers)
{
    py::array array = py::array::ensure(value);
    if (!array)
    {
        PyErr_Clear();
        Bad(label, field, "is not an array");
    }
    if (std::string(numbers.kinds).find(array.dtype().kind()) == std::string::npos)
    {
        Bad(label, field,
            std::string("must ") + numbers.words + ", not " + py::str(array.dtype()).cast<std::string>());
    }
    return array;
}

// The array with one of the shapes (any, rest...), or a ValueError.
std::size_t ShapeOf(py::array const& array, std::string const& field, std::string const& label,
                    std::vector<std::vector<py::ssize_t>> const& shapes)
{
    for (std::size_t choice = 0; choice < shapes.size(); ++choice)
    {
        std::vector<py::ssize_t> const& rest = shapes[choice];
        bool shaped = array.ndim() == py::ssize_t(rest.size() + 1);
        for (std::size_t i = 0; shaped && i < rest.size(); ++i)
        {
            shaped = array.shape(py::ssize_t(i + 1)) == rest[i];
        }
        if (shaped)
        {
            return choice;
        }
    }
    std::string wanted;
    for (auto const& rest : shapes)
    {
        wanted += (wanted.empty() ? "" : " or ") + Wanted(rest);
    }
    Bad(label, field, "must have shape " + wanted + ", not " + Shape(array));
}

template <typename T>
py::array_t<T, py::array::c_style> Converted(py::array const& array)
{
    return py::array_t<T, py::array::c_style | py::array::forcecast>::ensure(array);
}

void CheckRows(py::array const& array, std::size_t rows, std::string const& field, std::string const& label)
{
    if (std::size_t(array.shape(0)) != rows)
    {
        Bad(label, field,
            "has " + std::to_string(array.shape(0)) + " rows for " + std::to_string(rows) + " triangles");
    }
}

// Colours of any integer type from 0 to 255, one per corner or one per
// triangle (RGB or RGBA), as M x 3 x 4 uint8.
py::object Colours(py::handle value, std::string const& field, std::string const& label, std::size_t rows)
{
    py::array const array = Numeric(value, field, label, kIntegers);
    std::size_t const form = ShapeOf(array, field, label, {{3, 4}, {3}, {4}});
    CheckRows(array, rows, field, label);
    auto const wide = Converted<std::int64_t>(array);
    std::int64_t const* in = wide.data();
    for (py::ssize_t i = 0; i < wide.size(); ++i)
    {
        if (in[i] < 0 || in[i] > 255)
        {
            Bad(label, field, "has " + std::to_string(in[i]) + ": colour channels go from 0 to 255");
        }
    }
    py::array_t<std::uint8_t> colours({rows, std::size_t(3), std::size_t(4)});
    std::uint8_t* out = colours.mutable_data();
    std::size_t const channels = form == 0 ? 12 : form == 1 ? 3 : 4;
    for (std::size_t t = 0; t < rows; ++t, out += 12)
    {
        std::int64_t const* row = in + channels * t;
        for (int corner = 0; corner < 3; ++corner)
        {
            std::int64_t const* rgba = form == 0 ? row + 4 * corner : row;
            for (int c = 0; c < 4; ++c)
            {
                out[4 * corner + c] = c < 3 || form != 1 ? std::uint8_t(rgba[c]) : std::uint8_t(255);
            }
        }
    }
    return std::move(colours);
}

// The colours the object holds: triangle_colors, else a trimesh-style
// visual whose colours are given per face.
py::object ColoursOf(py::handle mesh, std::string const& label, std::size_t rows)
{
    py::object const own = Attribute(mesh, "triangle_colors");
    if (!own.is_none())
    {
        return Colours(own, "triangle_colors", label, rows);
    }
    py::object const visual = Attribute(mesh, "visual");
    if (!visual.is_none() && py::str(Attribute(visual, "kind")).cast<std::string>() == "face")
    {
        return Colours(visual.attr("face_colors"), "visual.face_colors", label, rows);
    }
    return py::none();
}

template <typename T>
bool Outside(T index, std::int64_t vertices)
{
    if constexpr (std::is_signed_v<T>)
    {
        return index < 0 || std::int64_t(index) >= vertices;
    }
    else
    {
        return std::uint64_t(index) >= std::uint64_t(vertices);
    }
}

// The rows of the triangles kept, where `all` is false: those without a
// vertex twice. Checked in the array's own integer type, without a copy.
template <typename T>
std::vector<std::size_t> KeptRows(T const* t, std::size_t count, std::int64_t vertices,
                                  std::string const& field, std::string const& label, bool drop, bool refuse,
                                  bool& all)
{
    std::vector<std::size_t> kept;
    all = true;
    for (std::size_t i = 0; i < count; ++i, t += 3)
    {
        for (int corner = 0; corner < 3; ++corner)
        {
            if (Outside(t[corner], vertices))
            {
                Bad(label, field,
                    "refers to vertex " + std::to_string(t[corner]) + " in triangle " + std::to_string(i) +
                        ", of " + std::to_string(vertices) + " vertices");
            }
        }
        // A triangle on a vertex twice has no area; a 3MF mesh may not hold it.
        bool const degenerate = t[0] == t[1] || t[1] == t[2] || t[0] == t[2];
        if (degenerate && !drop && refuse)
        {
            Bad(label, field,
                "has triangle " + std::to_string(i) +
                    " on one vertex twice; drop_degenerate=True leaves such triangles out");
        }
        bool const goes = degenerate && drop;
        if (goes && all)
        {
            // The first to go: every row before it stays.
            all = false;
            kept.reserve(count);
            for (std::size_t before = 0; before < i; ++before)
            {
                kept.push_back(before);
            }
        }
        if (!goes && !all)
        {
            kept.push_back(i);
        }
    }
    return kept;
}

// The triangles as uint32, of the rows kept; an array that is already uint32
// is taken as it is when all stay.
template <typename T>
py::array_t<std::uint32_t, py::array::c_style>
Triangles(py::array const& corners, std::int64_t vertices, std::string const& field, std::string const& label,
          bool drop, bool refuse, std::vector<std::size_t>& kept, bool& all)
{
    auto const typed = py::array_t<T, py::array::c_style | py::array::forcecast>::ensure(corners);
    std::size_t const count = std::size_t(typed.shape(0));
    kept = KeptRows(typed.data(), count, vertices, field, label, drop, refuse, all);
    if constexpr (std::is_same_v<T, std::uint32_t>)
    {
        if (all)
        {
            return typed;
        }
    }
    std::size_t const rows = all ? count : kept.size();
    py::array_t<std::uint32_t, py::array::c_style> result({rows, std::size_t(3)});
    std::uint32_t* out = result.mutable_data();
    for (std::size_t i = 0; i < rows; ++i)
    {
        T const* row = typed.data() + 3 * (all ? i : kept[i]);
        out[3 * i] = std::uint32_t(row[0]);
        out[3 * i + 1] = std::uint32_t(row[1]);
        out[3 * i + 2] = std::uint32_t(row[2]);
    }
    return result;
}

// The rows of a per-triangle array that are kept.
template <typename T>
py::object KeepRows(py::object const& field, std::vector<std::size_t> const& kept, bool all,
                    std::size_t count)
{
    if (field.is_none() || all)
    {
        return field;
    }
    auto const array = py::array_t<T, py::array::c_style>::ensure(field);
    std::vector<py::ssize_t> shape(array.shape(), array.shape() + array.ndim());
    std::size_t const row = std::size_t(array.size()) / std::max<std::size_t>(count, 1);
    shape[0] = py::ssize_t(kept.size());
    py::array_t<T> result(shape);
    for (std::size_t i = 0; i < kept.size(); ++i)
    {
        std::copy_n(array.data() + row * kept[i], row, result.mutable_data() + row * i);
    }
    return std::move(result);
}

void CheckTextures(py::handle mesh, std::string const& label, CheckedMesh& checked, std::size_t rows)
{
    py::object const uvs = Attribute(mesh, "uvs");
    py::object const ids = Attribute(mesh, "texture_ids");
    py::object const images = Attribute(mesh, "textures");
    if (uvs.is_none() && ids.is_none() && images.is_none())
    {
        return;
    }
    if (uvs.is_none() || ids.is_none() || images.is_none())
    {
        Bad(label, "uvs, texture_ids and textures", "go together: each is None or none is");
    }
    py::array const coordinates = Numeric(uvs, "uvs", label, kFloating);
    ShapeOf(coordinates, "uvs", label, {{3, 2}});
    CheckRows(coordinates, rows, "uvs", label);
    py::array const indices = Numeric(ids, "texture_ids", label, kIntegers);
    ShapeOf(indices, "texture_ids", label, {{}});
    CheckRows(indices, rows, "texture_ids", label);
    py::list textures;
    for (py::handle image : images)
    {
        std::string const field = "textures[" + std::to_string(textures.size()) + "]";
        py::array const pixels = Numeric(image, field, label, kIntegers);
        if (pixels.ndim() != 3 || pixels.shape(2) != 4 || pixels.dtype().kind() != 'u' ||
            pixels.itemsize() != 1)
        {
            Bad(label, field,
                "must be uint8 of shape (h, w, 4), not " + py::str(pixels.dtype()).cast<std::string>() +
                    " of shape " + Shape(pixels));
        }
        // An array that is already as Mesh holds it stays the same object,
        // so that meshes showing one image still share it.
        textures.append(Converted<std::uint8_t>(pixels));
    }
    auto ids32 = Converted<std::int32_t>(indices);
    auto const wide = Converted<std::int64_t>(indices);
    for (py::ssize_t i = 0; i < wide.size(); ++i)
    {
        if (wide.data()[i] < -1 || wide.data()[i] >= py::ssize_t(textures.size()))
        {
            Bad(label, "texture_ids",
                "has " + std::to_string(wide.data()[i]) + " at triangle " + std::to_string(i) + ", of " +
                    std::to_string(textures.size()) + " textures (-1 for none)");
        }
    }
    checked.uvs = Converted<float>(coordinates);
    checked.texture_ids = std::move(ids32);
    checked.textures = std::move(textures);
}

void CheckBeams(py::handle mesh, std::string const& label, CheckedMesh& checked)
{
    py::object const beams = Attribute(mesh, "beams");
    py::object const radii = Attribute(mesh, "beam_radii");
    if (beams.is_none() && radii.is_none())
    {
        return;
    }
    if (beams.is_none() || radii.is_none())
    {
        Bad(label, "beams and beam_radii", "go together: both are None or neither is");
    }
    py::array const ends = Numeric(beams, "beams", label, kIntegers);
    ShapeOf(ends, "beams", label, {{2}});
    py::array const sizes = Numeric(radii, "beam_radii", label, kReal);
    ShapeOf(sizes, "beam_radii", label, {{2}});
    if (sizes.shape(0) != ends.shape(0))
    {
        Bad(label, "beam_radii",
            "has " + std::to_string(sizes.shape(0)) + " rows for " + std::to_string(ends.shape(0)) +
                " beams");
    }
    auto const wide = Converted<std::int64_t>(ends);
    std::int64_t const vertices = checked.vertices.shape(0);
    for (py::ssize_t i = 0; i < wide.size(); i += 2)
    {
        std::int64_t const* end = wide.data() + i;
        if (end[0] < 0 || end[0] >= vertices || end[1] < 0 || end[1] >= vertices || end[0] == end[1])
        {
            Bad(label, "beams",
                "has beam " + std::to_string(i / 2) + " from vertex " + std::to_string(end[0]) + " to " +
                    std::to_string(end[1]) + ": a beam joins two different of the " +
                    std::to_string(vertices) + " vertices");
        }
    }
    checked.beams = Converted<std::uint32_t>(ends);
    checked.beam_radii = Converted<double>(sizes);
}
// "#RRGGBB" packed with red in the low byte.
std::uint32_t ParseColour(py::handle text, std::string const& label)
{
    std::string const colour = py::str(text).cast<std::string>();
    std::uint32_t packed = 0;
    bool good = colour.size() == 7 && colour[0] == '#';
    for (std::size_t i = 1; good && i < 7; ++i)
    {
        char const c = colour[i];
        int const digit = c >= '0' && c <= '9'   ? c - '0'
                          : c >= 'a' && c <= 'f' ? c - 'a' + 10
                          : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                 : -1;
        good = digit >= 0;
        packed |= std::uint32_t(digit) << (4 * ((i - 1) ^ 1));
    }
    if (!good)
    {
        Bad(label, "material", "is '" + colour + "', not a colour of the form #RRGGBB");
    }
    return packed;
}

template <typename T>
T const* DataOf(py::object const& field)
{
    return field.is_none() ? nullptr : py::array_t<T, py::array::c_style>::ensure(field).data();
}

// Notes where the checked arrays' numbers are.
void Pin(CheckedMesh& checked)
{
    checked.colourData = DataOf<std::uint8_t>(checked.triangle_colors);
    checked.uvData = DataOf<float>(checked.uvs);
    checked.textureIdData = DataOf<std::int32_t>(checked.texture_ids);
    if (!checked.textures.is_none())
    {
        for (py::handle image : checked.textures)
        {
            auto const pixels = py::array_t<std::uint8_t, py::array::c_style>::ensure(image);
            checked.images.push_back(
                {pixels.data(), std::size_t(pixels.shape(0)), std::size_t(pixels.shape(1))});
        }
    }
    checked.beamData = DataOf<std::uint32_t>(checked.beams);
    checked.radiusData = DataOf<double>(checked.beam_radii);
    checked.beamCount = checked.beams.is_none() ? 0 : std::size_t(py::array(checked.beams).shape(0));
}
} // namespace

CheckedMesh CheckMesh(py::handle mesh, std::string const& label, bool dropDegenerate, bool forWriting)
{
    CheckedMesh checked;
    py::object const vertices = Attribute(mesh, "vertices");
    if (vertices.is_none())
    {
        Bad(label, "vertices", "is missing");
    }
    py::array const points = Numeric(vertices, "vertices", label, kReal);
    ShapeOf(points, "vertices", label, {{3}});
    checked.vertices = Converted<double>(points);
    // trimesh's triangles are corner coordinates; its faces are the indices.
    char const* const field = !Attribute(mesh, "faces").is_none() ? "faces" : "triangles";
    py::object const faces = Attribute(mesh, field);
    if (faces.is_none())
    {
        Bad(label, "faces or triangles", "is missing");
    }
    py::array const corners = Numeric(faces, field, label, kIntegers);
    ShapeOf(corners, field, label, {{3}});
    if (forWriting)
    {
        // Coordinates go to 32-bit internal units.
        double const limit = std::numeric_limits<std::int32_t>::max() / OndSDK::Common::MInternalUnits::Get();
        double const* v = checked.vertices.data();
        for (py::ssize_t i = 0, n = checked.vertices.size(); i < n; ++i)
        {
            if (!std::isfinite(v[i]) || std::fabs(v[i]) > limit)
            {
                Bad(label, "vertices",
                    "has " + std::to_string(v[i]) + " at vertex " + std::to_string(i / 3) +
                        ": coordinates must be finite and within +-" +
                        std::to_string(static_cast<long>(limit)) + " mm");
            }
        }
    }
    std::size_t const count = std::size_t(corners.shape(0));
    std::int64_t const vertexCount = checked.vertices.shape(0);
    std::vector<std::size_t> kept;
    bool all = true;
    char const kind = corners.dtype().kind();
    py::ssize_t const size = corners.itemsize();
    checked.triangles =
        kind == 'u' && size == 4   ? Triangles<std::uint32_t>(corners, vertexCount, field, label,
                                                            dropDegenerate, forWriting, kept, all)
        : kind == 'i' && size == 4 ? Triangles<std::int32_t>(corners, vertexCount, field, label,
                                                             dropDegenerate, forWriting, kept, all)
        : kind == 'u' && size == 8 ? Triangles<std::uint64_t>(corners, vertexCount, field, label,
                                                              dropDegenerate, forWriting, kept, all)
                                   : Triangles<std::int64_t>(corners, vertexCount, field, label,
                                                             dropDegenerate, forWriting, kept, all);
    checked.dropped = count - std::size_t(checked.triangles.shape(0));
    checked.triangle_colors = KeepRows<std::uint8_t>(ColoursOf(mesh, label, count), kept, all, count);
    CheckTextures(mesh, label, checked, count);
    checked.uvs = KeepRows<float>(checked.uvs, kept, all, count);
    checked.texture_ids = KeepRows<std::int32_t>(checked.texture_ids, kept, all, count);
    CheckBeams(mesh, label, checked);
    py::object const name = Attribute(mesh, "name");
    if (!name.is_none())
    {
        checked.name = py::str(name).cast<std::string>();
    }
    py::object const material = Attribute(mesh, "material");
    if (!material.is_none())
    {
        checked.material = ParseColour(material, label);
    }
    if (forWriting && !checked.triangle_colors.is_none())
    {
        // The file's colours carry no alpha in this library yet: refused
        // rather than lost.
        auto const colours = py::array_t<std::uint8_t, py::array::c_style>::ensure(checked.triangle_colors);
        for (py::ssize_t i = 3; i < colours.size(); i += 4)
        {
            if (colours.data()[i] != 255)
            {
                Bad(label, "triangle_colors",
                    "has alpha " + std::to_string(colours.data()[i]) + " at triangle " +
                        std::to_string(i / 12) +
                        ": the 3MF writer keeps opaque colours only; set alpha to 255");
            }
        }
    }
    Pin(checked);
    return checked;
}

void CheckBinary(CheckedMesh const& mesh, std::string const& label)
{
    char const* const field = !mesh.triangle_colors.is_none() ? "triangle_colors"
                              : !mesh.textures.is_none()      ? "textures"
                                                              : nullptr;
    if (field != nullptr)
    {
        Bad(label, field,
            "can't be written with binary=True: the binary part holds geometry only; write without binary, "
            "or "
            "set the field to None to leave it out");
    }
}

Mesh ToMeshObject(CheckedMesh checked)
{
    Mesh mesh;
    mesh.vertices = std::move(checked.vertices);
    mesh.triangles = std::move(checked.triangles);
    mesh.triangle_colors = std::move(checked.triangle_colors);
    mesh.uvs = std::move(checked.uvs);
    mesh.texture_ids = std::move(checked.texture_ids);
    mesh.textures = std::move(checked.textures);
    mesh.beams = std::move(checked.beams);
    mesh.beam_radii = std::move(checked.beam_radii);
    mesh.name = std::move(checked.name);
    mesh.material = ColourText(checked.material);
    return mesh;
}

} // namespace format3mf::python
