// What the edits of the Bambu family's and of PrusaSlicer's settings share:
// the filament numbers and colours they check, and the flush matrix that
// grows with each filament added.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace format3mf::slicerproject
{
// Throws ProjectError unless `index` is one of `count` filaments, counted
// from 1; `role`, when given, says what the filament was named for.
void CheckFilament(int index, std::size_t count, char const* role = nullptr);

// "#RRGGBB" in upper case, as the slicers write it; throws ProjectError
// naming `colour` for any other text.
std::string FilamentColour(std::string const& colour);

// Throws ProjectError naming `what` when `text` holds a control character
// other than tab, line feed and carriage return: XML can't carry one.
void CheckXmlText(std::string const& text, std::string const& what);

// A flush matrix (the volume purged going from the row's filament to the
// column's, row by row) of `count` filaments, grown by a filament that is a
// copy of filament `like` (from 0): the new row and column are `like`'s, and
// 0 the new diagonal. Between `like` and its copy, whose colours differ,
// `like`'s own diagonal 0 would purge nothing; they get the largest volume
// of `like`'s row and column instead, or `unknown` when there is none.
std::vector<std::string> GrowFlushMatrix(std::vector<std::string> const& matrix, std::size_t count,
                                         std::size_t like, std::string const& unknown);
} // namespace format3mf::slicerproject
