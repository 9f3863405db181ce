// load(): the package read into the library's model as it stands in the file,
// without flattening the build, then handed to Python object by object, each
// object's mesh converted once however often it is placed.
#include "MeshArrays.h"
#include "Model.h"
#include "Shared.h"
#include "Source.h"

#include "format3mf/Exception.h"
#include "format3mf/MeshStlBase.h"
#include "format3mf/ModelFileStlBase.h"
#include "format3mf/Object.h"
#include "format3mf/Package.h"
#include "format3mf/PackageRead.h"

#include "common/StringConversion.h"
#include "zip/MZipArchiveError.h"

#include <map>
#include <new>

namespace py = pybind11;

namespace format3mf::python
{
namespace
{
// The model of plain meshes, but its build stays as read: objects, components
// and items are what load hands over, and flattening them would copy every
// placed mesh for nothing.
class ModelAsStored : public Format_3MF::ModelFileStlBase
{
public:
    void _OnStopReading(Format_3MF::PackageReadContext* context) override
    {
        ModelFile::_OnStopReading(context);
    }
};

std::string Narrow(std::wstring const& text)
{
    return StringConversion::ConvertNativeToUTF8(text);
}

// The message of what the read let through, by its kind.
std::string DescribeCurrentException()
{
    try
    {
        throw;
    }
    catch (MZipArchiveError::MGeneric const& error)
    {
        return Narrow(error.GetDetail().empty() ? error.GetMessage()
                                                : error.GetMessage() + L": " + error.GetDetail());
    }
    catch (Format_3MF::Exception const& error)
    {
        return Narrow(error.m_message);
    }
    catch (std::bad_alloc const&)
    {
        return "out of memory while reading the file";
    }
    catch (std::exception const& error)
    {
        return error.what();
    }
    catch (int)
    {
        // DecodeColor's way of refusing a colour text.
        return "invalid colour value in the file (a colour is not of the form #RRGGBB or #RRGGBBAA)";
    }
    catch (...)
    {
        return "the read stopped with an exception of a type this library does not know";
    }
}

char const* TypeName(int type)
{
    switch (type)
    {
    case 1:
        return "support";
    case 2:
        return "solidsupport";
    case 3:
        return "other";
    default:
        return "model";
    }
}

// A transformation of the file as 4 x 4 in millimetres: the translation in
// the unit of the root part, as placing the objects converts it.
py::array_t<double> Transform(MMTransformMatrix const& matrix, double factor)
{
    py::array_t<double> result({4, 4});
    auto out = result.mutable_unchecked<2>();
    for (unsigned short row = 0; row < 4; ++row)
    {
        for (unsigned short column = 0; column < 4; ++column)
        {
            double const value = matrix.GetElement(row, column);
            out(row, column) = row < 3 && column == 3 ? value * factor : value;
        }
    }
    return result;
}

std::string Describe(int id, Format_3MF::ModelFile const* file)
{
    return "object " + std::to_string(id) + " of " + Narrow(file->GetFileNameInPackage());
}

// The bytes of the package's thumbnail, or None, with a warning, where it
// can't be taken out.
py::object Thumbnail(Format_3MF::Package const& package, Format_3MF::PackageRead& reader,
                     std::vector<std::string>& warnings)
{
    Format_3MF::ThumbnailExternalFile const* const thumbnail = package.GetThumbnail();
    if (thumbnail == nullptr)
    {
        return py::none();
    }
    // The entry goes through a file of Python's temporary folder, which is
    // removed with everything in it whatever happens.
    py::object const folder = py::module_::import("tempfile").attr("TemporaryDirectory")("", "ond3mf-");
    py::object const target =
        py::module_::import("pathlib").attr("Path")(folder.attr("name")) / py::str("thumbnail");
    bool extracted = false;
    try
    {
        extracted = reader.ExtractPackageFile(thumbnail->GetFileNameInPackage(), false,
                                              StringConversion::ConvertFileNameToNative(PathOf(target)));
    }
    catch (...)
    {
        warnings.push_back("The thumbnail " + Narrow(thumbnail->GetFileNameInPackage()) +
                           " could not be read: " + DescribeCurrentException());
    }
    py::object const bytes = extracted ? target.attr("read_bytes")() : py::none();
    folder.attr("cleanup")();
    return bytes;
}
} // namespace

Model Load(py::object const& source, bool textures, py::object progress)
{
    ReadSource const input(source);
    auto delegate = std::make_shared<PythonProgress>(std::move(progress));
    ModelAsStored root;
    Format_3MF::Package package(&root);
    Format_3MF::PackageReadOptions options;
    options.IsSkipTextures = !textures;
    Format_3MF::PackageRead reader(&package, options);
    bool read = false;
    std::string thrown;
    {
        py::gil_scoped_release release;
        try
        {
            read = reader.Read(StringConversion::ConvertFileNameToNative(input.Path()), delegate);
        }
        catch (...)
        {
            thrown = DescribeCurrentException();
        }
    }
    delegate->RaiseIfFailed();
    std::vector<std::string> warnings;
    for (std::wstring const& warning : reader.GetContext().m_warnings)
    {
        warnings.push_back(input.Shown(Narrow(warning)));
    }
    if (!read)
    {
        Warn(warnings);
        if (reader.GetContext().m_status == 3)
        {
            RaiseError("reading was cancelled");
        }
        std::vector<std::string> errors;
        for (std::wstring const& error : reader.GetContext().m_errors)
        {
            errors.push_back(input.Shown(Narrow(error)));
        }
        if (!thrown.empty())
        {
            errors.push_back(input.Shown(thrown));
        }
        RaiseError(errors.empty() ? input.Shown("Could not read " + input.Path()) : Joined(errors));
    }

    Model model;
    double const factor = root.GetUnits().m_factor;
    model.rootPart = Narrow(root.GetFileNameInPackage());
    model.unit = root.GetUnits().m_name.empty() ? "millimeter" : Narrow(root.GetUnits().m_name);
    for (auto const& [name, item] : root.GetMetaData())
    {
        model.metadata[py::str(Narrow(name))] = py::str(Narrow(item.m_value));
    }
    // Every object of every model part, the root's first, each made once.
    std::vector<Format_3MF::ModelFile const*> files{&root};
    for (auto const& related : root.GetModelFiles())
    {
        files.push_back(related.get());
    }
    std::map<Format_3MF::Object const*, py::object> made;
    std::vector<MeshSource> meshes;
    std::vector<Object*> owners;
    for (Format_3MF::ModelFile const* file : files)
    {
        for (auto const& stored : file->GetResources().m_objects)
        {
            py::object object = py::cast(Object());
            Object& ours = object.cast<Object&>();
            ours.id = stored->m_id;
            ours.part = Narrow(file->GetFileNameInPackage());
            ours.name = Narrow(stored->m_name);
            ours.type = TypeName(stored->m_type);
            ours.mesh = py::none();
            auto* const mesh = dynamic_cast<Format_3MF::MeshStlBase*>(stored->m_mesh.get());
            if (mesh != nullptr && mesh->GetStl(false) != nullptr)
            {
                meshes.push_back({mesh->GetStl(false), ours.name});
                owners.push_back(&ours);
            }
            made.emplace(stored.get(), object);
            model.objects.append(object);
        }
    }
    std::vector<Mesh> arrays = ToPython(meshes);
    for (std::size_t i = 0; i < arrays.size(); ++i)
    {
        owners[i]->mesh = py::cast(std::move(arrays[i]));
    }
    for (auto const& [stored, object] : made)
    {
        Object& ours = object.cast<Object&>();
        for (Format_3MF::Component const& component : stored->m_components)
        {
            auto const found = made.find(component.m_object);
            if (found == made.end())
            {
                warnings.push_back(
                    "A component of " + Describe(stored->m_id, stored->GetModelFile()) + " refers to " +
                    (component.m_modelFile != nullptr ? Describe(component.m_objectID, component.m_modelFile)
                                                      : std::string("no object")) +
                    ", which does not exist; it is left out.");
                continue;
            }
            ours.components.append(Component{found->second, Transform(component.m_transform, factor)});
        }
    }
    for (Format_3MF::Build::Item const& item : root.GetBuild().m_items)
    {
        Format_3MF::ModelFile const* const file = item.m_modelFile != nullptr ? item.m_modelFile : &root;
        auto const* const object =
            dynamic_cast<Format_3MF::Object const*>(file->GetReference(item.m_objectID));
        auto const found = made.find(object);
        if (found == made.end())
        {
            warnings.push_back("A build item refers to " + Describe(item.m_objectID, file) +
                               ", which does not exist; it is left out.");
            continue;
        }
        Item placed{found->second, Transform(item.m_transform, factor)};
        if (item.m_printable.has_value())
        {
            placed.printable = py::bool_(*item.m_printable);
        }
        if (!item.m_partNumber.empty())
        {
            placed.partnumber = py::str(Narrow(item.m_partNumber));
        }
        model.items.append(std::move(placed));
    }
    model.thumbnail = Thumbnail(package, reader, warnings);
    Warn(warnings);
    return model;
}
} // namespace format3mf::python
