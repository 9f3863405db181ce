// A scope guard that gives a colour mask the exporter's label while a mesh is
// written, and its own label back however the export ends.
#pragma once

#include <functional>
#include <string>

class MStlColorMaskTrianglePoints;

namespace format3mf
{
class TemporaryMaskLabel
{
public:
    static constexpr wchar_t kLabel[] = L"TempTriangleVerticesColorMaskLabelFor3mfExport";

    // A null mask makes a guard that does nothing.
    explicit TemporaryMaskLabel(MStlColorMaskTrianglePoints* mask);
    ~TemporaryMaskLabel();
    TemporaryMaskLabel(TemporaryMaskLabel const&) = delete;
    TemporaryMaskLabel& operator=(TemporaryMaskLabel const&) = delete;

private:
    // Owns a copy of the former label.
    std::function<void(MStlColorMaskTrianglePoints*)> m_restore;
    MStlColorMaskTrianglePoints* m_mask;
};
} // namespace format3mf
