// PvGenBrowserWnd: the features of a device, to be looked at and changed.
#pragma once

#include <memory>

#include "sdk/base/PvResult.h"
#include "sdk/genicam/PvGenTypes.h"
#include "sdk/gui/PvWnd.h"

class PvGenParameter;
class PvGenParameterArray;
class PvPropertyList;

namespace vex::gui {
class BrowserContent;
}  // namespace vex::gui

/// Shows a parameter array by its categories or by the alphabet. Only what is visible is read, on a thread of the SDK,
/// as long as the window is shown. The array may be rebuilt or destroyed at any time, on any thread: the browser then
/// shows what there is instead, or nothing. Whoever does that waits for an access of the browser's that is under way,
/// at most five seconds; an event sink of the array's parameters that waits for that thread holds it up for so long.
///
/// Thread safety: as PvWnd.
class PvGenBrowserWnd : public PvWnd {
public:
    PvGenBrowserWnd();
    /// As closing the window, and setting another array, it does not wait for an access that is under way.
    ~PvGenBrowserWnd() override;

    /// Beginner at first; the user may change it.
    [[nodiscard]] PvGenVisibility GetVisibility() const;
    /// Beginner to Invisible; InvalidParameter for anything else, which changes nothing.
    PvResult SetVisibility(PvGenVisibility aVisibility);
    /// Null for no features.
    void SetGenParameterArray(PvGenParameterArray* aArray);

    /// Adds the visibility, the order, the closed categories and the sizes of the browser's parts to the list:
    /// BrowserVisibility, BrowserOrder, BrowserClosedCategories, BrowserDetailsHeight, BrowserWidthName,
    /// BrowserWidthValue, BrowserWidthUnit and BrowserWidthAccess. InvalidParameter for null.
    PvResult Save(PvPropertyList* aPropertyList) const;
    /// Takes what the list has of these, the last of each, and leaves the rest as it is. InvalidParameter for null,
    /// InvalidDataFormat for a value that is none, which changes nothing.
    PvResult Load(const PvPropertyList* aPropertyList);

protected:
    /// Asked on the window's thread, whether the parameter is displayed, about each one that the visibility lets
    /// through, and with null about each category: when an array is set, when the visibility changes, when the window
    /// is shown and when the user refreshes. The features of a category that is not displayed stand a level higher.
    /// Anything may be done to the window from here; it may be closed or destroyed.
    virtual bool IsParameterDisplayed(PvGenParameter* aParameter);

private:
    friend class vex::gui::BrowserContent;

    explicit PvGenBrowserWnd(std::shared_ptr<vex::gui::BrowserContent> content);

    const std::shared_ptr<vex::gui::BrowserContent> content_;
};
