// The meshes of a project on request: the project reader run on the project
// as it stands, on the build items of one plate or one object.
#include "format3mf/Project.h"

#include "common/StringConversion.h"
#include "common/TemporaryDirectory.h"
#include "slicerproject/ProjectState.h"

#include <boost/filesystem/operations.hpp>

namespace format3mf
{
using namespace slicerproject;

namespace
{
// A file of the edited project for the reader, removed when done.
class EditedCopy
{
public:
    explicit EditedCopy(EntryStore const& store)
        : m_path(StringConversion::ConvertNativeToFileName(m_folder.GetTemporaryFilePath()) + "project.3mf")
    {
        store.Save(m_path);
    }
    ~EditedCopy()
    {
        boost::system::error_code ignored;
        boost::filesystem::remove(m_path.native(), ignored);
    }
    std::filesystem::path const& Path() const { return m_path; }

private:
    OndSDK::FileIO::FileSystem::TemporaryDirectory m_folder;
    std::filesystem::path m_path;
};
} // namespace

import::ImportResult Project::Meshes(int plate, int objectId,
                                     bool nonPrintableParts) const {ProjectView const& view = m_state->view;
ProjectPlate const* const found = plate == 0 ? nullptr : view.FindPlate(plate);
if (plate != 0 && found == nullptr)
{
    throw ProjectError("The project has no plate " + std::to_string(plate));
}
if (objectId != 0)
{
    RequireObject(view, objectId);
}
std::unique_ptr<EditedCopy> copy;
if (m_state->store.Edited())
{
    copy = std::make_unique<EditedCopy>(m_state->store);
}
import::ImportSettings settings;
settings.projectParts = true;
settings.nonPrintableParts = nonPrintableParts;
double const scale = view.unitScale;
settings.selectItems = [&view, found, objectId, scale](std::size_t index, Format_3MF::Build::Item& item)
{
    if (index >= view.items.size())
    {
        return false;
    }
    ViewItem const& described = view.items[index];
    if ((objectId != 0 && described.objectId != objectId) ||
        (found != nullptr && described.plate != found->id))
    {
        return false;
    }
    if (found != nullptr)
    {
        // Into the plate's own coordinates.
        item.m_transform.AccessElement(0, 3) -= found->originX / scale;
        item.m_transform.AccessElement(1, 3) -= found->originY / scale;
        item.m_transform.VerifyAndSetClass();
        item.m_transform.ComputeInverse();
    }
    return true;
};
return import::ImportFile(copy ? copy->Path() : m_state->store.Path(), settings);
} // namespace format3mf
} // namespace format3mf
