// PvGenBrowserTabbedWnd: the features of several parameter arrays, each on a tab.
#pragma once

#include <cstdint>
#include <memory>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"
#include "sdk/genicam/PvGenTypes.h"
#include "sdk/gui/PvWnd.h"

class PvGenParameterArray;
class PvPropertyList;

namespace vex::gui {
class TabbedContent;
}  // namespace vex::gui

/// Tabs have indexes from 0 in the order in which they were added. When one is removed, those behind it move up by one.
/// Each shows its array as PvGenBrowserWnd does; visibility and looks are the same for all.
///
/// Thread safety: as PvWnd.
class PvGenBrowserTabbedWnd : public PvWnd {
public:
    PvGenBrowserTabbedWnd();
    ~PvGenBrowserTabbedWnd() override;

    [[nodiscard]] std::uint32_t GetParameterArrayCount() const;
    /// Of all tabs: Beginner at first; the user may change it.
    [[nodiscard]] PvGenVisibility GetVisibility() const;
    /// Beginner to Invisible; InvalidParameter for anything else, which changes nothing.
    PvResult SetVisibility(PvGenVisibility aVisibility);

    /// Adds a tab behind the others and writes its index. Names may be empty and the same as others'; an array may be
    /// added more than once. InvalidParameter for null, which leaves `aIndex` as it is.
    PvResult AddGenParameterArray(PvGenParameterArray* aArray, const PvString& aName, std::uint32_t& aIndex);
    /// Null for an index that there is not, and when the array has gone.
    [[nodiscard]] PvGenParameterArray* GetGenParameterArray(std::uint32_t aIndex) const;
    /// NotFound for an index that there is not; `aName` is left as it is then.
    PvResult GetParameterArrayName(std::uint32_t aIndex, PvString& aName) const;
    PvResult SetParameterArrayName(std::uint32_t aIndex, const PvString& aName);
    PvResult RemoveGenParameterArray(std::uint32_t aIndex);
    /// Removes all tabs.
    void Reset();

    /// As PvGenBrowserWnd, and BrowserTab, the index of the tab that is shown.
    PvResult Save(PvPropertyList* aPropertyList) const;
    /// As PvGenBrowserWnd. A tab that there is not is passed over.
    PvResult Load(const PvPropertyList* aPropertyList);

private:
    explicit PvGenBrowserTabbedWnd(std::shared_ptr<vex::gui::TabbedContent> content);
    /// OK, or NotFound.
    [[nodiscard]] PvResult check(std::uint32_t index) const;

    const std::shared_ptr<vex::gui::TabbedContent> content_;
};
