// The entries of an open project: those of its archive, read on demand, and
// those that edits wrote or removed, kept apart until a save joins them.
#pragma once

#include "format3mf/Project.h"
#include "zip/MZipArchive.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace format3mf::slicerproject
{
class EntryStore
{
public:
    // Throws ProjectError when the file can't be opened as a zip archive.
    explicit EntryStore(std::filesystem::path const& path);

    // The file the project was opened from.
    std::filesystem::path const& Path() const { return m_path; }
    bool Has(std::string const& name) const;
    // The entry's bytes as they stand. Throws ProjectError for an entry that
    // isn't there or can't be read.
    std::string Read(std::string const& name) const;
    // The entry's bytes in pieces, handed to `take` in order, without the
    // whole of it in memory. Throws as Read does.
    void Stream(std::string const& name, std::function<void(char const*, std::size_t)> const& take) const;
    // The entry's bytes, or empty for one that isn't there.
    std::string ReadIfThere(std::string const& name) const;
    void Write(std::string const& name, std::string data);
    void Remove(std::string const& name);
    // Every entry, in the archive's order, added ones last.
    std::vector<ProjectEntry> List() const;
    // What edits changed so far, to go back to when a later edit fails.
    struct Snapshot
    {
        std::map<std::string, std::string> written;
        std::vector<std::string> added;
        std::map<std::string, bool> removed;
    };
    Snapshot TakeSnapshot() const { return {m_written, m_added, m_removed}; }
    void Restore(Snapshot snapshot)
    {
        m_written = std::move(snapshot.written);
        m_added = std::move(snapshot.added);
        m_removed = std::move(snapshot.removed);
    }
    // Whether any edit wrote or removed an entry.
    bool Edited() const { return !m_written.empty() || !m_removed.empty(); }

    // Writes the package to `path` through a temporary file beside it: the
    // entries no edit touched copied as stored, the others deflated anew.
    void Save(std::filesystem::path const& path) const;

private:
    std::filesystem::path m_path;
    // Read by one entry at a time: const reads share it.
    std::unique_ptr<MZipArchive> m_archive;
    std::vector<std::string> m_order;
    std::map<std::string, std::string> m_written;
    std::vector<std::string> m_added;
    std::map<std::string, bool> m_removed;
};
} // namespace format3mf::slicerproject
