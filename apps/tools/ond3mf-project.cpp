// A slicer's project looked at, edited and saved from the command line:
// ond3mf-project show, edit and thumbnail, through format3mf::Project. Exits
// 0 when done, 1 when reading, editing or writing failed, 2 on a bad argument.

#include "MeshFileObjects.h"
#include "ProjectDescription.h"
#include "ToolCommon.h"

#include "format3mf/Project.h"

#include "common/SafeFileWrite.h"

#include <nlohmann/json.hpp>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace format3mf::apps
{
namespace
{
#ifdef OND3MF_MESH_FORMATS
#define OND3MF_ADD_FORMATS "an STL, OBJ, PLY, OFF or 3MF file"
#else
#define OND3MF_ADD_FORMATS "a 3MF file"
#endif

// clang-format off
char const kUsage[] =
    "usage: ond3mf-project show FILE [--json]\n"
    "       ond3mf-project edit IN OUT [EDIT]...\n"
    "       ond3mf-project thumbnail FILE OUT.png [--plate N]\n"
    "Looks into a slicer's project (Bambu Studio, OrcaSlicer, QIDI Studio, Creality\n"
    "Print, PrusaSlicer, or a plain 3MF file), edits it and takes out its thumbnails.\n"
    "show: the dialect and application, the plates and their objects, the filaments,\n"
    "the objects and their parts with roles, extruders and colours, the thumbnails\n"
    "and every entry of the package.\n"
    "  --json                       all of it as one JSON document\n"
    "edit: the edits, in the order given, then IN saved as OUT; without an edit OUT\n"
    "holds every entry of IN with the bytes it was stored with.\n"
    "  --filament N=#RRGGBB[:TYPE]  filament N's colour, and its type (PLA, PETG, ...)\n"
    "  --extruder OBJECT[/PART]=N   an object's or a part's extruder, by the ids show gives\n"
    "  --metadata KEY=VALUE         a metadata value of the model (Title, Designer, ...)\n"
    "  --setting KEY=VALUE          a setting; KEY=[\"A\",\"B\"] for one that holds a list\n"
    "  --remove-object ID           an object, from the model, its settings and its plate\n"
    "  --add MESHFILE[:EXTRUDER]    each mesh of " OND3MF_ADD_FORMATS " as an object\n"
    "                               of its own, centred on plate 1, with that extruder\n"
    "                               (1 when not given)\n"
    "thumbnail: the PNG image of the project into OUT.png.\n"
    "  --plate N                    plate N's image instead of the package's thumbnail\n"
    "  --quiet                      no warnings on standard error\n"
    "  --help                       this text\n"
    "  --version                    the library's version\n"
    "Nothing is written when an edit can't apply; OUT is written beside its name and\n"
    "renamed over it only when whole.\n"
    "Exit codes: 0 done, 1 reading, editing or writing failed, 2 bad argument.\n";
// clang-format on

char const kProgram[] = "ond3mf-project";

using Edit = std::function<void(Project&)>;

struct Arguments
{
    std::string command;
    std::vector<std::string> files;
    bool json = false;
    bool quiet = false;
    int plate = 0;
    // Each edit with the option and value it came from, for the message
    // when it fails.
    std::vector<std::pair<std::string, Edit>> edits;
};

// A whole decimal number from `least` up, or false. Ids, extruders and
// plates stay far below a million; the bound keeps the number an int.
bool ParseNumber(std::string const& text, int least, int& number)
{
    char* end = nullptr;
    errno = 0;
    long const value = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno != 0 || value < least || value > 1000000)
    {
        return false;
    }
    number = static_cast<int>(value);
    return true;
}

// "KEY=VALUE" split at its first '=', KEY not empty.
bool SplitAssignment(std::string const& text, std::string& key, std::string& value)
{
    std::size_t const at = text.find('=');
    if (at == 0 || at == std::string::npos)
    {
        return false;
    }
    key = text.substr(0, at);
    value = text.substr(at + 1);
    return true;
}

bool IsColour(std::string const& text)
{
    return text.size() == 7 && text[0] == '#' &&
           text.find_first_not_of("0123456789abcdefABCDEF", 1) == std::string::npos;
}

// The edit an option asks for, or an empty one with `message` saying why the
// value is bad.
Edit ParseEdit(std::string const& option, std::string const& value, bool quiet, std::string& message)
{
    std::string key;
    std::string rest;
    int number = 0;
    if (option == "--filament")
    {
        std::size_t const colon = value.find(':');
        std::string const colour = SplitAssignment(value, key, rest) ? rest.substr(0, rest.find(':')) : "";
        if (!ParseNumber(key, 1, number) || !IsColour(colour))
        {
            message = "--filament takes N=#RRGGBB or N=#RRGGBB:TYPE, not '" + value + "'";
            return {};
        }
        std::optional<std::string> type;
        if (colon != std::string::npos)
        {
            type = value.substr(colon + 1);
        }
        return [number, colour, type](Project& project) { project.SetFilament(number, colour, type); };
    }
    if (option == "--extruder")
    {
        int object = 0;
        int part = 0;
        bool good = SplitAssignment(value, key, rest) && ParseNumber(rest, 0, number);
        std::size_t const slash = key.find('/');
        good = good && ParseNumber(key.substr(0, slash), 1, object) &&
               (slash == std::string::npos || ParseNumber(key.substr(slash + 1), 1, part));
        if (!good)
        {
            message = "--extruder takes OBJECT=N or OBJECT/PART=N (ids from 1, an extruder from 0), not '" +
                      value + "'";
            return {};
        }
        std::optional<int> const partId =
            slash != std::string::npos ? std::optional<int>(part) : std::nullopt;
        return [object, number, partId](Project& project) { project.SetExtruder(object, number, partId); };
    }
    if (option == "--metadata" || option == "--setting")
    {
        if (!SplitAssignment(value, key, rest))
        {
            message = option + " takes KEY=VALUE, not '" + value + "'";
            return {};
        }
        if (option == "--metadata")
        {
            return [key, rest](Project& project) { project.SetMetadata(key, rest); };
        }
        // A JSON list of strings is a list setting's values.
        nlohmann::ordered_json const list = nlohmann::ordered_json::parse(rest, nullptr, false);
        if (list.is_array() && !list.empty() &&
            std::all_of(list.begin(), list.end(),
                        [](nlohmann::ordered_json const& item) { return item.is_string(); }))
        {
            std::vector<std::string> const values = list.get<std::vector<std::string>>();
            return [key, values](Project& project) { project.SetSetting(key, values); };
        }
        return [key, rest](Project& project) { project.SetSetting(key, rest); };
    }
    if (option == "--remove-object")
    {
        if (!ParseNumber(value, 1, number))
        {
            message = "--remove-object takes an object's id, not '" + value + "'";
            return {};
        }
        return [number](Project& project) { project.RemoveObject(number); };
    }
    // --add: an extruder after the file's name where the last colon stands
    // before a number; a colon elsewhere belongs to the name.
    std::string path = value;
    int extruder = 1;
    std::size_t const colon = value.rfind(':');
    if (colon != std::string::npos && ParseNumber(value.substr(colon + 1), 1, number))
    {
        path = value.substr(0, colon);
        extruder = number;
    }
    if (path.empty())
    {
        message = "--add takes MESHFILE or MESHFILE:EXTRUDER, not '" + value + "'";
        return {};
    }
    return [path, extruder, quiet](Project& project)
    {
        std::vector<std::string> notes;
        std::vector<ProjectMeshInput> const objects = ObjectsOfMeshFile(path, extruder, notes);
        if (!quiet)
        {
            PrintMessages(path, "note", notes);
        }
        for (ProjectMeshInput const& object : objects)
        {
            project.AddObject(object);
        }
    };
}

std::unique_ptr<Project> OpenProject(std::string const& file, bool quiet)
{
    std::unique_ptr<Project> project = Project::Open(file);
    if (!quiet)
    {
        PrintMessages(file, "warning", project->Warnings());
    }
    return project;
}

int Show(Arguments const& arguments)
{
    std::string const& file = arguments.files[0];
    nlohmann::ordered_json const description = Describe(file, *OpenProject(file, arguments.quiet));
    if (arguments.json)
    {
        // Names and values need not be UTF-8, and JSON must be: such bytes
        // become U+FFFD.
        std::printf(
            "%s\n",
            description.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace).c_str());
    }
    else
    {
        PrintReadable(description);
    }
    return 0;
}

int EditProject(Arguments const& arguments)
{
    std::unique_ptr<Project> const project = OpenProject(arguments.files[0], arguments.quiet);
    for (auto const& [option, edit] : arguments.edits)
    {
        try
        {
            edit(*project);
        }
        catch (std::exception const& error)
        {
            std::fprintf(stderr, "%s: %s: %s; nothing was written\n", kProgram, option.c_str(), error.what());
            return 1;
        }
    }
    project->Save(arguments.files[1]);
    return 0;
}

// The bytes into a new file beside the target, renamed over it when whole.
void WriteBytes(std::string const& target, std::string const& bytes)
{
    SafeFileWrite file(target);
    for (std::size_t done = 0; done < bytes.size();)
    {
        ssize_t const written = ::write(file.Descriptor(), bytes.data() + done, bytes.size() - done);
        if (written < 0 && errno != EINTR)
        {
            throw file.Failure(errno);
        }
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
    file.Commit();
}

int Thumbnail(Arguments const& arguments)
{
    std::string const& file = arguments.files[0];
    std::unique_ptr<Project> const project = OpenProject(file, arguments.quiet);
    std::vector<ProjectPlate> const& plates = project->Plates();
    if (arguments.plate > 0 &&
        std::none_of(plates.begin(), plates.end(),
                     [&arguments](ProjectPlate const& plate) { return plate.id == arguments.plate; }))
    {
        std::fprintf(stderr, "%s: %s has no plate %d; its plates count from 1 to %zu\n", kProgram,
                     file.c_str(), arguments.plate, plates.size());
        return 1;
    }
    std::optional<std::string> const png = project->Thumbnail(arguments.plate);
    if (!png)
    {
        std::fprintf(stderr, "%s: %s has no %s\n", kProgram, file.c_str(),
                     arguments.plate == 0 ? "thumbnail"
                                          : ("image of plate " + std::to_string(arguments.plate)).c_str());
        return 1;
    }
    WriteBytes(arguments.files[1], *png);
    return 0;
}

bool IsEditOption(std::string const& option)
{
    for (char const* edit :
         {"--filament", "--extruder", "--metadata", "--setting", "--remove-object", "--add"})
    {
        if (option == edit)
        {
            return true;
        }
    }
    return false;
}

// What a command takes, and the options that belong to it alone.
bool CheckCommand(Arguments const& arguments, bool plateGiven, std::size_t edits, std::string& message)
{
    struct Command
    {
        char const* name;
        std::size_t files;
        char const* takes;
    };
    Command const commands[] = {
        {"show", 1, "FILE"}, {"edit", 2, "IN and OUT"}, {"thumbnail", 2, "FILE and OUT.png"}};
    for (Command const& command : commands)
    {
        if (arguments.command != command.name)
        {
            continue;
        }
        if (arguments.files.size() != command.files)
        {
            message = arguments.command + " takes " + command.takes + ", got " +
                      std::to_string(arguments.files.size()) + " file name(s)";
        }
        else if (arguments.json && arguments.command != "show")
        {
            message = "--json applies to show only";
        }
        else if (plateGiven && arguments.command != "thumbnail")
        {
            message = "--plate applies to thumbnail only";
        }
        else if (edits > 0 && arguments.command != "edit")
        {
            message = "the edits (--filament, --extruder, ...) apply to edit only";
        }
        return message.empty();
    }
    message = "unknown command '" + arguments.command + "'; the commands are show, edit and thumbnail";
    return false;
}

// False with a one-line message on a bad argument.
bool Parse(int argc, char** argv, Arguments& arguments, std::string& message)
{
    std::vector<std::string> positional;
    std::vector<std::pair<std::string, std::string>> edits;
    bool options = true;
    bool plateGiven = false;
    for (int i = 1; i < argc; ++i)
    {
        std::string const argument = argv[i];
        if (!options || argument.size() < 2 || argument[0] != '-')
        {
            positional.push_back(argument);
        }
        else if (argument == "--")
        {
            options = false;
        }
        else if (argument == "--json")
        {
            arguments.json = true;
        }
        else if (argument == "--quiet")
        {
            arguments.quiet = true;
        }
        else if (argument == "--plate" || IsEditOption(argument))
        {
            if (i + 1 == argc)
            {
                message = argument + " needs a value";
                return false;
            }
            std::string const value = argv[++i];
            if (argument != "--plate")
            {
                edits.emplace_back(argument, value);
            }
            else if (!ParseNumber(value, 1, arguments.plate))
            {
                message = "--plate takes a plate's number from 1, not '" + value + "'";
                return false;
            }
            plateGiven = plateGiven || argument == "--plate";
        }
        else
        {
            message = "unknown option '" + argument + "'";
            return false;
        }
    }
    if (positional.empty())
    {
        message = "no command given; the commands are show, edit and thumbnail";
        return false;
    }
    arguments.command = positional.front();
    arguments.files.assign(positional.begin() + 1, positional.end());
    if (!CheckCommand(arguments, plateGiven, edits.size(), message))
    {
        return false;
    }
    // The edits are made once --quiet is known, which --add needs.
    for (auto const& [option, value] : edits)
    {
        Edit edit = ParseEdit(option, value, arguments.quiet, message);
        if (!edit)
        {
            return false;
        }
        arguments.edits.emplace_back(option + " " + value, std::move(edit));
    }
    return true;
}

int Run(Arguments const& arguments)
{
    try
    {
        if (arguments.command == "show")
        {
            return Show(arguments);
        }
        return arguments.command == "edit" ? EditProject(arguments) : Thumbnail(arguments);
    }
    catch (std::exception const& error)
    {
        // The project's errors name the file, the entry or the object; a
        // write's names the target and the system's cause.
        std::fprintf(stderr, "%s: %s\n", kProgram, error.what());
    }
    return 1;
}
} // namespace
} // namespace format3mf::apps

int main(int argc, char** argv)
{
    using namespace format3mf::apps;
    if (AnswerStandardOption(argc, argv, kProgram, kUsage))
    {
        return 0;
    }
    Arguments arguments;
    std::string message;
    if (!Parse(argc, argv, arguments, message))
    {
        return BadUsage(kProgram, message, kUsage);
    }
    return Run(arguments);
}
