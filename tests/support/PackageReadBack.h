// Writing a model file's package and reading one back into a model file of
// the test's own kind, with what the reading said: the one read fixture of
// the package, model and object tests.
#pragma once

#include "support/PackageTestSupport.h"
#include "support/TestModelFile.h"

#include "format3mf/Package.h"
#include "format3mf/PackageRead.h"
#include "format3mf/PackageWrite.h"

#include <memory>
#include <string>

// Writes the package to `file`; throws where the writer throws.
inline bool WritePackage(Format_3MF::Package& package, std::wstring const& file,
                         Format_3MF::PackageWriteOptions const& options = Format_3MF::PackageWriteOptions())
{
    return Format_3MF::PackageWrite(&package, options).Write(file, nullptr);
}

template <typename Model = TestModelFile>
struct ReadBack
{
    Model model;
    Format_3MF::Package package{&model};
    Format_3MF::PackageRead reader;
    bool ok;

    explicit ReadBack(std::wstring const& file,
                      Format_3MF::PackageReadOptions const& options = Format_3MF::PackageReadOptions(),
                      std::shared_ptr<OndSDK::Common::IProgressDelegate> progress = nullptr)
        : reader(&package, options), ok(reader.Read(file, progress))
    {
    }

    Format_3MF::PackageReadContext const& Context() const { return reader.GetContext(); }

    // The first error, for the message of a failed assertion.
    std::string Error() const
    {
        auto const& errors = Context().m_errors;
        return errors.empty() ? std::string() : StringConversion::ConvertNativeToUTF8(errors.front());
    }
};

// A package whose root model is `xml` (as WriteModelPackage makes it), read
// back; its scratch folder lives as long as the reading.
template <typename Model = TestModelFile>
struct ModelRead : PackageScratch, ReadBack<Model>
{
    explicit ModelRead(std::string const& xml,
                       Format_3MF::PackageReadOptions const& options = Format_3MF::PackageReadOptions())
        : ReadBack<Model>(Packaged(*this, xml), options)
    {
    }

    static std::wstring Packaged(PackageScratch const& scratch, std::string const& xml)
    {
        std::wstring const file = scratch.File("model.3mf");
        WriteModelPackage(file, xml);
        return file;
    }
};
