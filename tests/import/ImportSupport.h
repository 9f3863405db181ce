// What the importer tests share: importing a file as meshes and comparing the
// result with an independent reading of its XML.
#pragma once

#include "support/Command.h"
#include "support/PackageTestSupport.h"

#include "format3mf/Importer.h"

#include "triangles/MStlBase.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

// The meshes the importer makes of a file, which it must read.
inline std::vector<std::unique_ptr<MStlBase>> ImportMeshes(std::wstring const& path)
{
    std::vector<std::unique_ptr<MStlBase>> meshes;
    format3mf::import::Importer importer;
    importer.SetOutputParts(meshes);
    importer.SetFileName(path);
    EXPECT_EQ(format3mf::import::Importer::Success, importer.Operate(nullptr))
        << StringConversion::ConvertNativeToUTF8(path);
    return meshes;
}

inline std::vector<std::unique_ptr<MStlBase>> ImportMeshes(std::string const& path)
{
    return ImportMeshes(StringConversion::ConvertUTF8ToNative(path.data(), path.size()));
}

inline std::string Quoted(std::string const& text)
{
    return "'" + text + "'";
}

// Messages as UTF-8, each on a line of its own.
inline std::string Joined(std::vector<std::wstring> const& messages)
{
    std::wstring all;
    for (std::wstring const& message : messages)
    {
        all += message + L"\n";
    }
    return StringConversion::ConvertNativeToUTF8(all);
}

inline std::string Joined(std::vector<std::string> const& messages)
{
    std::string all;
    for (std::string const& message : messages)
    {
        all += message + "\n";
    }
    return all;
}

inline std::vector<std::string> SplitLines(std::string const& text, char separator = '\n')
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line, separator);)
    {
        lines.push_back(line);
    }
    return lines;
}

// The files import as tests/import/expected_meshes.py, which reads the XML
// with Python's standard library alone, says they should: the same meshes
// with the same counts, boxes, colours and textures. Columns 4 to 9 of a
// line of `ond3mf-info --tsv` are the box in millimetres; the rest must
// match exactly.
inline void ExpectToolMatchesOracle(std::vector<std::string> const& files)
{
    std::string names;
    for (std::string const& file : files)
    {
        names += " " + Quoted(file);
    }
    CommandOutput const expected =
        RunCommand("python3 " + Quoted(FORMAT3MF_SOURCE_DIR "/tests/import/expected_meshes.py") + names);
    ASSERT_EQ(0, expected.status) << expected.text;
    CommandOutput const actual = RunCommand(Quoted(OND3MF_INFO) + " --tsv" + names);
    EXPECT_EQ(0, actual.status) << actual.text;
    std::vector<std::string> const wantLines = SplitLines(expected.text);
    std::vector<std::string> const gotLines = SplitLines(actual.text);
    ASSERT_EQ(wantLines.size(), gotLines.size()) << actual.text;
    for (std::size_t line = 0; line < wantLines.size(); ++line)
    {
        std::vector<std::string> const want = SplitLines(wantLines[line], '\t');
        std::vector<std::string> const got = SplitLines(gotLines[line], '\t');
        ASSERT_EQ(want.size(), got.size())
            << "expected: " << wantLines[line] << "\nactual:   " << gotLines[line];
        for (std::size_t i = 0; i < want.size(); ++i)
        {
            bool const box = i >= 4 && i <= 9;
            EXPECT_TRUE(box ? std::abs(std::stod(want[i]) - std::stod(got[i])) <= 0.0011 : want[i] == got[i])
                << "column " << i << "\nexpected: " << wantLines[line] << "\nactual:   " << gotLines[line];
        }
    }
}
