// Model.save(): the model as Python holds it written through the library's
// package writer, each object once, with its components, the build items,
// the metadata and the thumbnail; written beside the target and renamed over
// it, as every write of the library is.
#include "MeshArrays.h"
#include "Model.h"
#include "Shared.h"

#include "format3mf/MeshStlBase.h"
#include "format3mf/ModelFileStlBase.h"
#include "format3mf/Object.h"
#include "format3mf/Package.h"
#include "format3mf/PackageWrite.h"

#include "common/StringConversion.h"
#include "zip/MZipArchiveError.h"

#include <map>
#include <new>
#include <set>

namespace py = pybind11;

namespace format3mf::python
{
namespace
{
std::wstring Wide(std::string const& text)
{
    return StringConversion::ConvertUTF8ToNative(text.data(), text.size());
}

int TypeNumber(std::string const& type, int id)
{
    static std::map<std::string, int> const kTypes{
        {"model", 0}, {"support", 1}, {"solidsupport", 2}, {"other", 3}};
    auto const found = kTypes.find(type);
    if (found == kTypes.end())
    {
        throw py::value_error("object " + std::to_string(id) + " has type '" + type +
                              "': a type is model, support, solidsupport or other");
    }
    return found->second;
}

// A transform of millimetres for a model part in millimetres.
MMTransformMatrix Matrix(py::handle transform, std::string const& label)
{
    py::array_t<double> const checked = CheckTransform(transform, label);
    auto const values = checked.unchecked<2>();
    MMTransformMatrix matrix;
    for (unsigned short row = 0; row < 4; ++row)
    {
        for (unsigned short column = 0; column < 4; ++column)
        {
            matrix.AccessElement(row, column) = values(row, column);
        }
    }
    return matrix;
}

// What is written, taken from Python first, so that the writer runs without
// the GIL.
struct Plan
{
    struct Placed
    {
        std::size_t object; // index into objects
        MMTransformMatrix transform;
        // Of build items only.
        std::optional<bool> printable;
        std::wstring partNumber;
    };
    struct Entry
    {
        int id = -1;
        std::wstring name;
        int type = 0;
        // Of `checked` and `built` below, where the object has a mesh.
        std::size_t mesh = kNone;
        std::vector<Placed> components;
    };
    static constexpr std::size_t kNone = ~std::size_t(0);
    std::vector<std::pair<std::wstring, std::wstring>> metadata;
    std::vector<CheckedMesh> checked;
    std::vector<BuiltMesh> built;
    std::vector<Entry> objects;
    std::vector<Placed> items;
};

// The model part that writes the plan: objects in their order, each before
// those that place it, with the ids they have where these are distinct.
class ModelToWrite : public Format_3MF::ModelFileStlBase
{
public:
    explicit ModelToWrite(Plan const& plan) : m_plan(plan) {}

    void _OnStartWriting(Format_3MF::PackageWriteContext* context) override
    {
        // Lives for this step: one bitmap used by several meshes is one image.
        Format_3MF::MeshStlBaseRegistry registry;
        std::vector<Format_3MF::Object*> made;
        for (Plan::Entry const& entry : m_plan.objects)
        {
            auto owned = std::make_unique<Format_3MF::Object>(this);
            Format_3MF::Object* const object = owned.get();
            GetResources().m_objects.push_back(std::move(owned));
            Register(*object, entry.id);
            if (entry.mesh != Plan::kNone)
            {
                object->m_mesh = std::make_unique<Format_3MF::MeshStlBase>(
                    m_plan.built[entry.mesh].mesh.get(), this, object, context, registry);
            }
            object->m_name = entry.name;
            object->m_type = entry.type;
            for (Plan::Placed const& placed : entry.components)
            {
                Format_3MF::Component component;
                component.m_object = made[placed.object];
                component.m_modelFile = this;
                component.m_objectID = made[placed.object]->m_id;
                component.m_transform = placed.transform;
                object->m_components.push_back(std::move(component));
            }
            made.push_back(object);
        }
        for (Plan::Placed const& placed : m_plan.items)
        {
            Format_3MF::Build::Item item;
            item.m_objectID = made[placed.object]->m_id;
            item.m_transform = placed.transform;
            item.m_printable = placed.printable;
            item.m_partNumber = placed.partNumber;
            GetBuild().m_items.push_back(std::move(item));
        }
        ModelFile::_OnStartWriting(context);
    }

private:
    Plan const& m_plan;
};

Plan MakePlan(Model const& model, bool binary)
{
    Plan plan;
    std::vector<py::object> const order = WriteOrder(model);
    std::map<PyObject*, std::size_t> index;
    std::set<int> ids;
    for (py::object const& object : order)
    {
        ids.insert(object.cast<Object const&>().id);
    }
    // The objects' own ids where they are distinct and valid, else 1, 2, ...
    bool const keepIds = ids.size() == order.size() && (ids.empty() || *ids.begin() > 0);
    plan.checked.reserve(order.size());
    for (py::object const& object : order)
    {
        Object const& node = object.cast<Object const&>();
        Plan::Entry entry;
        entry.id = keepIds ? node.id : int(plan.objects.size() + 1);
        entry.name = Wide(node.name);
        entry.type = TypeNumber(node.type, node.id);
        if (!node.mesh.is_none())
        {
            std::string const label = "the mesh of object " + std::to_string(node.id);
            entry.mesh = plan.checked.size();
            plan.checked.push_back(CheckMesh(node.mesh, label, false, true));
            if (binary)
            {
                CheckBinary(plan.checked.back(), label);
            }
        }
        for (py::handle held : node.components)
        {
            Component const& component = held.cast<Component const&>();
            entry.components.push_back(
                {index.at(component.object.ptr()),
                 Matrix(component.transform, "a component of object " + std::to_string(node.id)),
                 std::nullopt,
                 {}});
        }
        index[object.ptr()] = plan.objects.size();
        plan.objects.push_back(std::move(entry));
    }
    for (py::handle held : model.items)
    {
        Item const& item = held.cast<Item const&>();
        Plan::Placed placed{
            index.at(item.object.ptr()), Matrix(item.transform, "a build item"), std::nullopt, {}};
        if (!item.printable.is_none())
        {
            placed.printable = item.printable.cast<bool>();
        }
        if (!item.partnumber.is_none())
        {
            placed.partNumber = Wide(py::str(item.partnumber));
        }
        plan.items.push_back(std::move(placed));
    }
    for (auto const& [key, value] : model.metadata)
    {
        plan.metadata.emplace_back(Wide(py::str(key)), Wide(py::str(value)));
    }
    return plan;
}

// Builds the meshes of the plan, without the GIL.
void Build(Plan& plan)
{
    py::gil_scoped_release release;
    for (CheckedMesh const& checked : plan.checked)
    {
        plan.built.push_back(ToMesh(checked));
    }
}

std::string Narrow(std::wstring const& text)
{
    return StringConversion::ConvertNativeToUTF8(text);
}

// The write, as WriteFile makes it, with its failure as a message.
std::string Write(Plan const& plan, std::string const& target, bool binary, bool zip64,
                  std::wstring const& thumbnailPath, std::shared_ptr<PythonProgress> const& progress,
                  bool& cancelled)
{
    std::wstring const name = StringConversion::ConvertFileNameToNative(target);
    std::string const shown = Narrow(name);
    try
    {
        ModelToWrite root(plan);
        Format_3MF::Package package(&root);
        for (auto const& [key, value] : plan.metadata)
        {
            root.GetMetaData()[key] = Format_3MF::MetaDataItem(value);
        }
        if (!thumbnailPath.empty())
        {
            auto thumbnail = std::make_unique<Format_3MF::ThumbnailExternalFile>(thumbnailPath);
            package.SetThumbnail(thumbnail, true);
        }
        Format_3MF::PackageWriteOptions options;
        options.IsBinary = binary;
        options.Package.m_useZip64 = zip64;
        Format_3MF::PackageWrite writer(&package, options);
        py::gil_scoped_release release;
        writer.Write(name, progress);
        return std::string();
    }
    catch (Format_3MF::PackageWrite::Canceled const&)
    {
        cancelled = true;
        return "The write of " + shown + " was cancelled; nothing was written.";
    }
    catch (MZipArchiveError::MGeneric const& error)
    {
        return Narrow(error.GetDetail().empty() ? error.GetMessage()
                                                : error.GetMessage() + L": " + error.GetDetail());
    }
    catch (std::bad_alloc const&)
    {
        return "Could not write " + shown + ": out of memory";
    }
    catch (std::exception const& error)
    {
        return "Could not write " + shown + ": " + error.what();
    }
}
} // namespace

void Save(Model const& model, py::object const& path, bool binary, bool zip64, py::object progress)
{
    std::string const target = PathOf(path);
    Plan plan = MakePlan(model, binary);
    Build(plan);
    // The thumbnail goes through a file of Python's temporary folder, removed
    // with everything in it whatever happens; named for its kind, which the
    // package's content types take from the extension.
    py::object folder = py::none();
    std::wstring thumbnailPath;
    if (!model.thumbnail.is_none())
    {
        std::string const bytes = py::bytes(model.thumbnail);
        bool const jpeg = bytes.size() > 2 && bytes[0] == '\xFF' && bytes[1] == '\xD8';
        folder = py::module_::import("tempfile").attr("TemporaryDirectory")("", "ond3mf-");
        py::object const file = py::module_::import("pathlib").attr("Path")(folder.attr("name")) /
                                py::str(jpeg ? "thumbnail.jpg" : "thumbnail.png");
        file.attr("write_bytes")(py::bytes(bytes));
        thumbnailPath = StringConversion::ConvertFileNameToNative(PathOf(file));
    }
    auto delegate = std::make_shared<PythonProgress>(std::move(progress));
    bool cancelled = false;
    std::string const error = Write(plan, target, binary, zip64, thumbnailPath, delegate, cancelled);
    if (!folder.is_none())
    {
        folder.attr("cleanup")();
    }
    delegate->RaiseIfFailed();
    if (!error.empty())
    {
        RaiseWriteFailure(error, cancelled, path);
    }
}
} // namespace format3mf::python
