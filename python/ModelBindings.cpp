// The Python classes of a model (Model, Item, Object, Component) and load():
// plain holders of Python objects, so that what an item or a component
// places is the one Object, shared, with its arrays.
#include "MeshArrays.h"
#include "Model.h"
#include "Shared.h"

#include <pybind11/stl.h>

#include <cmath>
#include <functional>
#include <set>

namespace py = pybind11;

namespace format3mf::python
{
py::array_t<double> CheckTransform(py::handle transform, std::string const& label)
{
    if (transform.is_none())
    {
        py::array_t<double> identity({4, 4});
        auto out = identity.mutable_unchecked<2>();
        for (int row = 0; row < 4; ++row)
        {
            for (int column = 0; column < 4; ++column)
            {
                out(row, column) = row == column ? 1.0 : 0.0;
            }
        }
        return identity;
    }
    auto const matrix = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(transform);
    if (!matrix || matrix.ndim() != 2 || matrix.shape(0) != 4 || matrix.shape(1) != 4)
    {
        PyErr_Clear();
        throw py::value_error(label + " must be a 4 x 4 array of numbers, not " +
                              py::repr(transform).cast<std::string>());
    }
    auto const m = matrix.unchecked<2>();
    bool affine = m(3, 0) == 0 && m(3, 1) == 0 && m(3, 2) == 0 && m(3, 3) == 1;
    for (int i = 0; affine && i < 16; ++i)
    {
        affine = std::isfinite(m(i / 4, i % 4));
    }
    if (!affine)
    {
        throw py::value_error(label + " must be finite with the last row 0 0 0 1, as 3MF transforms are");
    }
    return matrix;
}

std::vector<py::object> WriteOrder(Model const& model)
{
    std::vector<py::object> order;
    std::set<PyObject*> done;
    std::set<PyObject*> open;
    // Depth first, children before their owner.
    std::function<void(py::handle)> visit = [&](py::handle object)
    {
        if (!py::isinstance<Object>(object))
        {
            throw py::type_error("an item or component places " + py::repr(object).cast<std::string>() +
                                 ", not an ond3mf.Object");
        }
        if (done.count(object.ptr()) != 0)
        {
            return;
        }
        if (!open.insert(object.ptr()).second)
        {
            throw py::value_error("the components of object " +
                                  std::to_string(object.cast<Object const&>().id) + " form a cycle");
        }
        for (py::handle component : object.cast<Object const&>().components)
        {
            visit(component.cast<Component const&>().object);
        }
        open.erase(object.ptr());
        done.insert(object.ptr());
        order.push_back(py::reinterpret_borrow<py::object>(object));
    };
    for (py::handle object : model.objects)
    {
        visit(object);
    }
    for (py::handle item : model.items)
    {
        visit(item.cast<Item const&>().object);
    }
    return order;
}

namespace
{
py::object TransformOrIdentity(py::handle transform)
{
    return CheckTransform(transform, "transform");
}

std::string ReprOf(Object const& object)
{
    std::string mesh = "no mesh";
    if (!object.mesh.is_none())
    {
        mesh = py::repr(object.mesh).cast<std::string>();
    }
    return "<ond3mf.Object " + std::to_string(object.id) + " '" + object.name + "' of " + object.part + ", " +
           mesh + ", " + std::to_string(object.components.size()) + " components>";
}
} // namespace

void RegisterModel(py::module_& module)
{
    py::options options;
    options.disable_function_signatures();

    py::class_<Component>(module, "Component", "One object placed inside another: object and transform.")
        .def(py::init(
                 [](py::object object, py::object transform) {
                     return Component{std::move(object), TransformOrIdentity(transform)};
                 }),
             py::arg("object"), py::arg("transform") = py::none(),
             OND3MF_DOC(
                 "__init__(self, object, transform=None)",
                 "A component placing object (an Object) by transform (4 x 4, millimetres; None is the\n"
                 "identity)."))
        .def_readwrite("object", &Component::object, "The Object placed.")
        .def_readwrite("transform", &Component::transform,
                       "float64 4 x 4: where the object stands in its owner, translation in millimetres.")
        .def(
            "__repr__",
            [](Component const& c) {
                return "<ond3mf.Component of object " + std::to_string(c.object.cast<Object const&>().id) +
                       ">";
            },
            OND3MF_DOC("__repr__(self)", "The object the component places."));

    py::class_<Object>(
        module, "Object",
        "An object of the file: a mesh in its own coordinates, components, or both. One Object\n"
        "stands for one object of the file however often items and components place it.")
        .def(py::init(
                 [](py::object mesh, int id, std::string name, std::string type, py::object components,
                    std::string part)
                 {
                     Object object;
                     object.mesh = std::move(mesh);
                     object.id = id;
                     object.name = std::move(name);
                     object.type = std::move(type);
                     object.components = components.is_none() ? py::list() : py::list(components);
                     object.part = std::move(part);
                     return object;
                 }),
             py::arg("mesh") = py::none(), py::arg("id") = 0, py::arg("name") = "", py::arg("type") = "model",
             py::arg("components") = py::none(), py::arg("part") = kRootPart,
             OND3MF_DOC("__init__(self, mesh=None, id=0, name='', type='model', components=None, "
                        "part='/3D/3dmodel.model')",
                        "An object with a Mesh (or None) and a list of Component. Model.save keeps the ids\n"
                        "where they are distinct and positive and numbers the objects 1, 2, ... otherwise."))
        .def_readwrite("id", &Object::id, "int: the object's id in its model part.")
        .def_readwrite("part", &Object::part,
                       "str: the model part that holds the object, '/3D/3dmodel.model' "
                       "for the root.")
        .def_readwrite("name", &Object::name, "str: the object's name, '' where it has none.")
        .def_readwrite("type", &Object::type, "str: 'model', 'support', 'solidsupport' or 'other'.")
        .def_readwrite("mesh", &Object::mesh, "Mesh or None: the object's mesh, in its own coordinates, mm.")
        .def_readwrite("components", &Object::components,
                       "list of Component: the objects placed in this one.")
        .def("__repr__", &ReprOf,
             OND3MF_DOC("__repr__(self)", "The object's id, name, part, mesh and components."));

    py::class_<Item>(module, "Item", "A build item: an object placed on the build plate.")
        .def(py::init(
                 [](py::object object, py::object transform, py::object printable, py::object partnumber) {
                     return Item{std::move(object), TransformOrIdentity(transform), printable, partnumber};
                 }),
             py::arg("object"), py::arg("transform") = py::none(), py::arg("printable") = py::none(),
             py::arg("partnumber") = py::none(),
             OND3MF_DOC("__init__(self, object, transform=None, printable=None, partnumber=None)",
                        "An item placing object (an Object) by transform (4 x 4, millimetres; None is the\n"
                        "identity)."))
        .def_readwrite("object", &Item::object, "The Object placed.")
        .def_property_readonly(
            "object_id", [](Item const& item) { return item.object.cast<Object const&>().id; },
            "int: the id of the object placed (object.id).")
        .def_readwrite("transform", &Item::transform,
                       "float64 4 x 4: where the object stands, translation in millimetres.")
        .def_readwrite("printable", &Item::printable,
                       "bool or None: the item's printable attribute as slicers write it ('1' or '0'):\n"
                       "whether the item is to be printed; None where the file gives none.")
        .def_readwrite("partnumber", &Item::partnumber,
                       "str or None: the item's partnumber attribute; None where the file gives none.")
        .def(
            "__repr__",
            [](Item const& item) {
                return "<ond3mf.Item of object " + std::to_string(item.object.cast<Object const&>().id) + ">";
            },
            OND3MF_DOC("__repr__(self)", "The object the item places."));

    py::class_<Model>(module, "Model",
                      "The model of a 3MF file as it holds it: build items placing objects, the objects\n"
                      "with their meshes and components, metadata, unit and thumbnail.")
        .def(py::init<>(), OND3MF_DOC("__init__(self)", "An empty model, to fill and save."))
        .def_readwrite("items", &Model::items, "list of Item: the build items, in file order.")
        .def_readwrite("objects", &Model::objects,
                       "list of Object: every object of the file, those of the root model part first.")
        .def_readwrite("metadata", &Model::metadata, "dict of str: the root model's metadata by name.")
        .def_readwrite(
            "unit", &Model::unit,
            "str: the unit word of the file ('millimeter', 'inch', ...). Coordinates and transforms\n"
            "are in millimetres whatever it is; save writes millimetres.")
        .def_readwrite("thumbnail", &Model::thumbnail, "bytes or None: the package thumbnail's image file.")
        .def(
            "object",
            [](Model const& model, int id, py::object part)
            {
                std::string const wanted = part.is_none() ? model.rootPart : part.cast<std::string>();
                for (py::handle held : model.objects)
                {
                    Object const& object = held.cast<Object const&>();
                    if (object.id == id && object.part == wanted)
                    {
                        return py::reinterpret_borrow<py::object>(held);
                    }
                }
                throw py::key_error("no object " + std::to_string(id) + " in " + wanted);
            },
            py::arg("id"), py::arg("part") = py::none(),
            OND3MF_DOC("object(self, id, part=None)",
                       "The Object of that id in that model part (None: the root part); KeyError if none."))
        .def("flatten", &Flatten, py::arg("as_one") = false,
             OND3MF_DOC("flatten(self, as_one=False)",
                        "What ond3mf.read gives for the model's file: one Mesh per item with geometry, its\n"
                        "object and components placed (all in one Mesh with as_one), in millimetres."))
        .def("save", &Save, py::arg("path"), py::arg("binary") = false, py::arg("zip64") = false,
             py::arg("progress") = py::none(),
             OND3MF_DOC(
                 "save(self, path, binary=False, zip64=False, progress=None)",
                 "Writes the model as a 3MF file: each object once, all in the root model part, with its\n"
                 "mesh and components, the "
                 "items with their transforms, the metadata and the thumbnail, in millimetres. binary\n"
                 "puts vertices and triangles in the model's binary side part (faster and smaller;\n"
                 "without colours and textures); zip64 allows an archive past 4 GiB. The file is\n"
                 "written beside the target and renamed over it: a failure leaves the target as it\n"
                 "was. Raises as ond3mf.write does."))
        .def(
            "__repr__",
            [](Model const& model)
            {
                return "<ond3mf.Model " + std::to_string(model.items.size()) + " items, " +
                       std::to_string(model.objects.size()) + " objects, unit " + model.unit + ">";
            },
            OND3MF_DOC("__repr__(self)", "The counts of items and objects, and the unit."));

    module.def(
        "load", &Load, py::arg("source"), py::arg("textures") = true, py::arg("progress") = py::none(),
        OND3MF_DOC("load(source, textures=True, progress=None)",
                   "Reads a 3MF file into a Model, as the file holds it: its build items, each object\n"
                   "once with its mesh in its own coordinates, components, metadata, unit and\n"
                   "thumbnail. source is a path (str, bytes or os.PathLike), a binary file-like\n"
                   "object, or the bytes of a whole file (bytes holding a NUL or starting with 'PK',\n"
                   "bytearray, memoryview). textures=False reads no image. Warnings are ond3mf.Warning;\n"
                   "progress(fraction) is called now and then and may raise to cancel. Raises\n"
                   "ond3mf.FileError (an OSError) when the file can't be opened, ond3mf.Error when it\n"
                   "can't be read."));
}
} // namespace format3mf::python
