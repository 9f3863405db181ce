#include "format3mf/Resources.h"

#include "foundation/XMLHandlers.h"
#include "foundation/XMLPersistHelpers.h"

namespace Format_3MF
{
namespace
{
// Resources hold no kinds of their own yet: every child element is left to
// the reader to skip, and nothing is written.
class ResourcesRead : public ISAXReadHelper, public XMLReadHandler
{
public:
    ResourcesRead(PackageReadContext* context, ISAXReadHelper* parent)
        : ISAXReadHelper(parent), XMLReadHandler(context)
    {
    }
};

class ResourcesWrite : public ISAXWriteHelper, public XMLWriteHandler
{
public:
    explicit ResourcesWrite(PackageWriteContext* context) : XMLWriteHandler(context) {}
    bool Write(MSAXWriter&) const override { return true; }
};
} // namespace

ISAXReadHelper* Resources::_CreateSaxHandlerRead(PackageReadContext* context, ISAXReadHelper* parent)
{
    return new ResourcesRead(context, parent);
}

ISAXWriteHelper* Resources::_CreateSaxHandlerWrite(PackageWriteContext* context,
                                                   std::shared_ptr<OndSDK::Common::IProgressDelegate>) const
{
    return new ResourcesWrite(context);
}

void Resources::_OnStartWriting(PackageWriteContext*) {}
void Resources::_OnStopWriting(PackageWriteContext*) {}
void Resources::_OnStartReading(PackageReadContext*) {}
void Resources::_OnStopReading(PackageReadContext*) {}
} // namespace Format_3MF
