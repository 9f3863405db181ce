// Runs a check on the reader at the start tag of a document's root element,
// for the tests of what reads attributes.
#pragma once

#include "sax/SAXPersist.h"
#include "sax/SAXReader.h"
#include "sax/SaxUtilities.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>

inline void AtRootStartTag(std::string const& xml, std::function<void(MSAXReader&)> const& check)
{
    struct Root : ISAXPersistHelper
    {
        std::function<void(MSAXReader&)> const* check = nullptr;
        bool called = false;
        bool HandleTag(std::wstring const&, MSAXReader& reader) override
        {
            (*check)(reader);
            called = true;
            return true;
        }
    } root;
    root.check = &check;
    std::istringstream stream(xml);
    ASSERT_TRUE(OndAM::SaxUtilities::ReadStream(stream, root)) << xml;
    ASSERT_TRUE(root.called) << xml;
}
