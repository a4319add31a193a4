// How long a feature browser takes from its array to a window whose visible values have been read and drawn, and how
// long a page of scrolling is drawn. The device is memory, so that the figures are the browser's own.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "sdk/browser/feature.h"
#include "sdk/genapi/node_map.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/gui/PvGenBrowserWnd.h"
#include "sdk/gui/win32.h"
#include "tests/description/builders.h"
#include "tests/sdk/genapi/corpus.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int id_list = 105;
constexpr int access_column = 3;
constexpr int rounds = 9;
constexpr int features_made = 2000;
constexpr int features_of_a_category = 20;
constexpr int pages_scrolled = 60;
constexpr double most_milliseconds_to_open = 200;
constexpr double most_milliseconds_to_scroll = 1000.0 / 60;

/// Every word holds the number 1.
class Ones final : public GenApi::IPort {
public:
    void read(std::int64_t address, std::span<std::uint8_t> out) override
    {
        for (std::size_t i = 0; i < out.size(); ++i) {
            out[i] = ((address + static_cast<std::int64_t>(i)) & 3) == 3 ? 1 : 0;
        }
    }
    void write(std::int64_t, std::span<const std::uint8_t>) override {}
    [[nodiscard]] bool is_open() const noexcept override { return true; }
};

std::string made_description()
{
    using namespace camera_xml;
    Names categories;
    std::string nodes;
    for (int first = 0; first < features_made; first += features_of_a_category) {
        Names names;
        for (int number = first; number < first + features_of_a_category; ++number) {
            names.push_back("Feature" + std::to_string(number));
            nodes += int_reg(names.back(), number * 4);
        }
        categories.push_back("Category" + std::to_string(first));
        nodes += category(categories.back(), names);
    }
    return description(root(categories) + nodes);
}

void add_categories(const vex::browser::Category& category, std::set<std::wstring>& names)
{
    for (const auto& item : category.items) {
        if (item.category != nullptr) {
            names.insert(PvString(item.category->display_name).GetWide());
            add_categories(*item.category, names);
        }
    }
}

std::wstring cell(HWND list, int row, int column)
{
    wchar_t text[256] = {};
    LVITEMW item{};
    item.iSubItem = column;
    item.pszText = text;
    item.cchTextMax = 256;
    SendMessageW(list, LVM_GETITEMTEXTW, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(&item));
    return text;
}

double median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + rounds / 2, values.end());
    return values[rounds / 2];
}

struct Figures {
    int rows = 0;
    double open = 0;    // milliseconds
    double scroll = 0;  // milliseconds a page
};

Figures measure_once(PvGenParameterArray& array, const std::set<std::wstring>& categories)
{
    const auto milliseconds_since = [](Clock::time_point begin) {
        return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
    };
    Figures figures;
    PvGenBrowserWnd window;
    static_cast<void>(window.SetVisibility(PvGenVisibilityInvisible));
    const auto begin = Clock::now();
    window.SetGenParameterArray(&array);
    static_cast<void>(window.ShowModeless());
    const HWND list = GetDlgItem(static_cast<HWND>(window.GetHandle()), id_list);
    figures.rows = ListView_GetItemCount(list);
    const int page = std::min(ListView_GetCountPerPage(list), figures.rows);
    const auto is_read = [&](int row) {
        return !cell(list, row, access_column).empty() || categories.contains(cell(list, row, 0));
    };
    for (int row = 0; row < page;) {
        if (is_read(row)) {
            ++row;
        } else {
            MsgWaitForMultipleObjects(0, nullptr, FALSE, 10, QS_ALLINPUT);
            static_cast<void>(window.DoEvents());
        }
    }
    UpdateWindow(list);
    figures.open = milliseconds_since(begin);
    const auto scrolling = Clock::now();
    for (int step = 1; step <= pages_scrolled; ++step) {
        ListView_EnsureVisible(list, step * page % figures.rows, FALSE);
        UpdateWindow(list);
        static_cast<void>(window.DoEvents());
    }
    figures.scroll = milliseconds_since(scrolling) / pages_scrolled;
    return figures;
}

/// True when both are within their limits.
bool measure(const char* what, const std::string& xml)
{
    Ones port;
    PvGenParameterArray array(GenApi::load_node_map(xml, port));
    const auto features = vex::browser::features_of(array);
    if (features == nullptr) {
        std::fprintf(stderr, "%s has no features\n", what);
        return false;
    }
    std::set<std::wstring> categories;
    add_categories(*features, categories);
    std::vector<double> opened;
    std::vector<double> scrolled;
    int rows = 0;
    for (int round = 0; round < rounds; ++round) {
        const Figures figures = measure_once(array, categories);
        rows = figures.rows;
        opened.push_back(figures.open);
        scrolled.push_back(figures.scroll);
    }
    const double open = median(opened);
    const double scroll = median(scrolled);
    std::printf("%s, %d rows; medians of %d rounds\n", what, rows, rounds);
    std::printf("  open until what is visible is read and drawn  %7.1f ms        of %.0f%s\n", open,
                most_milliseconds_to_open, open > most_milliseconds_to_open ? "  over" : "");
    std::printf("  scroll by a page                              %7.1f ms        of %.1f%s\n", scroll,
                most_milliseconds_to_scroll, scroll > most_milliseconds_to_scroll ? "  over" : "");
    return open <= most_milliseconds_to_open && scroll <= most_milliseconds_to_scroll;
}

}  // namespace

int main()
{
    bool good = measure("2000 registers in 100 categories", made_description());
    std::string largest;
    std::size_t most = 0;
    for (const auto& file : corpus::files()) {
        std::string xml = corpus::load(file);
        Ones port;
        const PvGenParameterArray array(GenApi::load_node_map(xml, port));
        if (array.GetCount() > most) {
            most = array.GetCount();
            largest = std::move(xml);
        }
    }
    if (!largest.empty()) {
        good = measure("The real camera with the most features", largest) && good;
    }
    return good ? 0 : 1;
}
