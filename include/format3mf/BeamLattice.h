// The beam lattice of a mesh: the values of its "beamlattice" element, and the
// binding that keeps its beams as edges of the host mesh's graphs.
#pragma once

#include "common/OndExport.h"
#include "format3mf/ReferenceID.h"

#include <cstdint>
#include <string>

class MStlBase;

namespace Format_3MF
{
class ModelFile;
class Object;
struct ISAXReadHelper;
struct ISAXWriteHelper;
struct PackageReadContext;
struct PackageWriteContext;

// What a "beamlattice" element says besides its beams. The beams themselves
// live wherever the implementation keeps them.
class OND_EXPORT IBeamLattice
{
public:
    IBeamLattice(ModelFile* modelFile, Object* object) : m_modelFile(modelFile), m_object(object) {}
    virtual ~IBeamLattice() = default;

    // A new reader for the element in namespace `nameSpace`, for the caller
    // to push, or null when the element is to be skipped.
    virtual ISAXReadHelper* _CreateSaxHandlerRead(PackageReadContext* context, ISAXReadHelper* parent,
                                                  std::wstring const& nameSpace) = 0;
    // A new writer of the element's content for the caller to delete, or null.
    virtual ISAXWriteHelper* _CreateSaxHandlerWrite(PackageWriteContext* context,
                                                    ISAXWriteHelper const* parent) const = 0;
    virtual void _OnStartWriting(PackageWriteContext* context) = 0;
    virtual void _OnStartReading(PackageReadContext* context) = 0;
    virtual void _OnStopReading(PackageReadContext* context) = 0;
    virtual void _OnStopWriting(PackageWriteContext* context) = 0;

    // "inside" for 1, "outside" for 2, "none" for anything else.
    std::wstring GetStringClipMode() const;
    // "inside" and "outside" set the mode; any other text, "none" included,
    // leaves it as it was.
    void SetStringClipMode(std::wstring const& mode);

    ModelFile* m_modelFile; // not owned
    Object* m_object;       // not owned
    tReferenceID m_clippingMesh;
    std::int32_t m_clipMode = 0; // 0 none, 1 inside, 2 outside
    // Beams shorter than this, in internal units, are dropped.
    std::int32_t m_minLength = 1;
};

// A lattice whose beams are the edges of the graphs of a host mesh, with
// their diameters and caps in the mesh's element information. It chooses the
// reader and the writer of the published or the vendor dialect by namespace.
class OND_EXPORT BeamLatticeStlBase : public IBeamLattice
{
public:
    // Does not own `stl` until SetStl(stl, true) says so.
    BeamLatticeStlBase(MStlBase* stl, ModelFile* modelFile, Object* object);
    // A copy shares the mesh and never owns it, so that the mesh is deleted
    // once at most.
    BeamLatticeStlBase(BeamLatticeStlBase const& other);
    BeamLatticeStlBase& operator=(BeamLatticeStlBase const& other);
    ~BeamLatticeStlBase() override;

    // Binds another mesh; a different mesh that was owned is deleted.
    void SetStl(MStlBase* stl, bool own);
    // With `release`, the caller takes the mesh over; it stays bound.
    MStlBase* GetStl(bool release);
    bool GetOwnStl() const { return m_ownStl; }

    // The published reader for NamespaceBeamLattice, the vendor one for
    // NamespaceBeamLatticeOndl, else null. `parent` must be the mesh reader.
    ISAXReadHelper* _CreateSaxHandlerRead(PackageReadContext* context, ISAXReadHelper* parent,
                                          std::wstring const& nameSpace) override;
    // The vendor writer when the context's beam namespace is the vendor one,
    // the published writer otherwise. `parent` must be the mesh writer.
    ISAXWriteHelper* _CreateSaxHandlerWrite(PackageWriteContext* context,
                                            ISAXWriteHelper const* parent) const override;
    // Declares the context's beam namespace as "lg" when the mesh has beams
    // and the model has no prefix for it yet.
    void _OnStartWriting(PackageWriteContext* context) override;
    void _OnStartReading(PackageReadContext*) override {}
    void _OnStopReading(PackageReadContext*) override {}
    void _OnStopWriting(PackageWriteContext*) override {}

    MStlBase* m_stl;
    bool m_ownStl = false;
};
} // namespace Format_3MF
