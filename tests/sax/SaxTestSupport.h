// What the SAX tests share: a persist object that logs every callback so that
// tests can compare their order.
#pragma once

#include "common/StringConversion.h"
#include "sax/SAXPersist.h"
#include "sax/SAXReader.h"
#include "sax/SaxUtilities.h"

#include <functional>
#include <sstream>
#include <string>
#include <vector>

// A reader that logs what it receives, so that tests can compare the order of
// callbacks. What it does with a tag is decided by the tag's name:
//   skip...  answers false
//   ...push...  pushes a new Recorder named after the tag
//   text...  logs the element's text (as UTF-8)
// Tests add behaviour through `onTag`. Every live Recorder is counted, so a
// test sees whether the reader deleted all it was given.
class Recorder : public ISAXPersistHelper
{
public:
    static inline int s_live = 0;

    Recorder(std::vector<std::string>& log, std::string name) : m_log(log), m_name(std::move(name))
    {
        ++s_live;
    }
    ~Recorder() override
    {
        --s_live;
        m_log.push_back("~" + m_name);
    }

    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override
    {
        std::string const narrow = StringConversion::ConvertNativeToUTF8(tag);
        m_log.push_back(m_name + "<" + narrow);
        if (onTag)
        {
            onTag(narrow, reader);
        }
        if (narrow.rfind("text", 0) == 0)
        {
            std::wstring text;
            reader.GetText(text);
            m_log.push_back(m_name + " text " + StringConversion::ConvertNativeToUTF8(text));
        }
        if (narrow.find("push") != std::string::npos)
        {
            auto* child = new Recorder(m_log, narrow);
            child->onTag = onTag;
            reader.PushHandler(child);
        }
        return narrow.rfind("skip", 0) != 0;
    }

    void HandleEndTag(std::wstring const& tag) override
    {
        m_log.push_back(m_name + ">" + StringConversion::ConvertNativeToUTF8(tag));
    }

    void InitAfterLoading() override { m_log.push_back(m_name + " loaded"); }

    std::function<void(std::string const&, MSAXReader&)> onTag;

private:
    std::vector<std::string>& m_log;
    std::string m_name;
};

inline bool Read(std::string const& document, ISAXPersist& root)
{
    std::istringstream stream(document);
    return OndAM::SaxUtilities::ReadStream(stream, root);
}
