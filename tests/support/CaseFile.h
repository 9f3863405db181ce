// Reads a table of test cases kept as a text file beside the test, so that
// inputs and expected results are data a reader can scan, not C++ literals.
//
// A record starts with a line "@@ NAME". Each field starts with a line
// "-- KEY" or "-- KEY VALUE"; the lines below it, up to the next field or
// record, join its value with newlines. Lines before the first record are
// comments.
#pragma once

#include <fstream>
#include <map>
#include <string>
#include <vector>

struct CaseRecord
{
    std::string name;
    std::map<std::string, std::string> fields;

    // The field's value, or `otherwise` where the record has no such field.
    std::string Get(std::string const& key, std::string const& otherwise = "") const
    {
        auto const found = fields.find(key);
        return found == fields.end() ? otherwise
                                     : found->second.substr(0, found->second.find_last_not_of('\n') + 1);
    }
};

// The records of the file at `path`; none where it cannot be read.
inline std::vector<CaseRecord> ReadCaseFile(std::string const& path)
{
    std::ifstream in(path, std::ios::binary);
    std::vector<CaseRecord> records;
    std::string* value = nullptr;
    std::string line;
    while (std::getline(in, line))
    {
        if (line.rfind("@@ ", 0) == 0)
        {
            records.push_back({line.substr(3), {}});
            value = nullptr;
        }
        else if (line.rfind("-- ", 0) == 0 && !records.empty())
        {
            std::size_t const space = line.find(' ', 3);
            value = &records.back().fields[line.substr(3, space - 3)];
            *value = space == std::string::npos ? "" : line.substr(space + 1);
        }
        else if (value != nullptr)
        {
            *value += (value->empty() ? "" : "\n") + line;
        }
    }
    return records;
}
