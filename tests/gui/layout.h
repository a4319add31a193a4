// Where the windows of a thread and the controls in them stand, as lines for another program.
#pragma once

#include <string>

namespace gui_test {

/// Windows of the calling thread that can be seen, each with what can be seen in it. Lines of fields with a tab between
/// them; places are x, y, width and height in pixels of the screen, texts UTF-8 with \r, \n, \t and \\ for what would
/// end a field:
///
///   window   place of the frame   place of the inside   class   title
///   control  place   identifier   class   text
///   row      place   is it chosen   the cells of a table's row...
///
/// Controls stand behind their window, rows behind their table.
[[nodiscard]] std::string layout();

/// UTF-8, with the same marks.
[[nodiscard]] std::string field(const std::wstring& text);

}  // namespace gui_test
