#pragma once

// The package's content types part, which every reader needs to know what each
// part holds.

#include "common/OndExport.h"
#include "format3mf/IPackageFile.h"

#include <string>
#include <vector>

namespace Format_3MF
{
// The "[Content_Types].xml" part: Default entries by extension and Override
// entries by part name, in one list in the order of adding or of the file.
class OND_EXPORT Content : public IPackageFile
{
public:
    struct Element
    {
        std::wstring m_extension; // without a dot; set in a Default entry
        std::wstring m_partName;  // set in an Override entry
        std::wstring m_contentType;
    };

    Content();

    double GetWriteProgressWeight() const override { return 0.0; }

    // An entry with the same extension and part name gets the new type in its
    // place; otherwise the entry is appended.
    void AddDefaultElement(std::wstring const& extension, std::wstring const& contentType);
    void AddOverrideElement(std::wstring const& partName, std::wstring const& contentType);
    std::vector<Element> const& GetElements() const { return m_elements; }
    void AppendElement(Element const& element) { m_elements.push_back(element); }

    // The first entry, in list order, that matches the name: a Default entry
    // by the name's extension lowered, an Override by the name compared
    // without case. An empty element if none does. Reaching a Default entry
    // with a name that has no extension throws std::out_of_range, which
    // callers let pass: such a name can only be looked up through an Override
    // that stands ahead of every Default entry.
    Element GetElement(std::wstring const& partName) const;
    Element GetElement(PackageFile const& file) const { return GetElement(file.GetFileNameInPackage()); }

protected:
    bool _GetContentInfo(std::wstring& contentType, std::wstring& extension) const override;
    bool _GetRelationInfo(std::wstring& type) const override;
    void _OnRead(PackageReadContext* context) override;
    void _OnWrite(PackageWriteContext* context,
                  std::shared_ptr<OndSDK::Common::IProgressDelegate> progress) override;
    bool _OnCanStreamRead() const override { return true; }
    bool _OnCanStreamWrite() const override { return true; }

private:
    void AddElement(Element const& element);

    std::vector<Element> m_elements;
};
} // namespace Format_3MF
