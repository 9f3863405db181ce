// The words by which the dialects of slicer projects are known to scripts.
#include "format3mf/Project.h"

namespace format3mf
{
char const* DialectName(ProjectDialect dialect)
{
    switch (dialect)
    {
    case ProjectDialect::Bambu:
        return "bambu";
    case ProjectDialect::Orca:
        return "orca";
    case ProjectDialect::Qidi:
        return "qidi";
    case ProjectDialect::Creality:
        return "creality";
    case ProjectDialect::Prusa:
        return "prusa";
    case ProjectDialect::Plain:
        break;
    }
    return "plain";
}
} // namespace format3mf
