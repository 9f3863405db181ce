// What an open project holds: its entries and what they tell, shared by the
// files that implement the project's queries and edits.
#pragma once

#include "format3mf/Project.h"
#include "slicerproject/EntryStore.h"
#include "slicerproject/ProjectView.h"

namespace format3mf
{
struct Project::State
{
    explicit State(std::filesystem::path const& path)
        : store(path), view(slicerproject::ReadProjectView(store))
    {
    }

    slicerproject::EntryStore store;
    slicerproject::ProjectView view;
};
} // namespace format3mf

namespace format3mf::slicerproject
{
// Runs an edit of the project's entries: either it completes and the project
// is read anew from them, or it throws and the entries are as they were.
template <typename Edit>
void Transact(Project::State& state, Edit edit)
{
    EntryStore::Snapshot before = state.store.TakeSnapshot();
    try
    {
        edit();
        state.view = ReadProjectView(state.store);
    }
    catch (...)
    {
        state.store.Restore(std::move(before));
        throw;
    }
}

// Checks that the project holds the object; throws ProjectError naming it.
ViewObject const& RequireObject(ProjectView const& view, int objectId);
// Checks that a filament number is one of the project's.
void RequireFilament(ProjectView const& view, int filament, char const* what);
} // namespace format3mf::slicerproject
