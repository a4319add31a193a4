// Shows one window of the registered server and does with it what standard input says (remote.h):
//
//   gui_client display | finder | terminal ADDRESS PORT | browser ADDRESS | tabs ADDRESS | bridges ADDRESS | pipeline
//
// Of every window: show, close, handle, move X Y WIDTH HEIGHT, openings COUNT.
#include <string>
#include <vector>

#include "tests/gui/objects.h"
#include "tests/gui/remote.h"

namespace {

using namespace gui_test;
using Words = Remote::Words;

int number(const Words& words, std::size_t index) { return index < words.size() ? std::atoi(words[index].c_str()) : 0; }

unsigned int count(const Words& words, std::size_t index) { return static_cast<unsigned int>(number(words, index)); }

/// How many objects this process can still draw with: one that is never given back is missing from then on.
std::size_t free_objects()
{
    std::vector<HBRUSH> brushes;
    while (const HBRUSH brush = CreateSolidBrush(RGB(1, 2, 3))) {
        brushes.push_back(brush);
    }
    for (const HBRUSH brush : brushes) {
        DeleteObject(brush);
    }
    return brushes.size();
}

/// All windows of this thread, those included that nobody sees.
std::size_t window_count()
{
    std::size_t windows = 0;
    EnumThreadWindows(
        GetCurrentThreadId(),
        [](HWND, LPARAM counted) CALLBACK -> BOOL {
            ++*reinterpret_cast<std::size_t*>(counted);
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&windows));
    return windows;
}

/// Shows and closes the window so often. Prints "objects BEFORE AFTER", those that are free, and "windows BEFORE
/// AFTER".
void open_often(IVexWnd& window, int times)
{
    const auto open_times = [&window](int openings) {
        for (int opening = 0; opening < openings; ++opening) {
            Ref<IVexResult> ignored;
            window.ShowModeless(0, ignored.put());
            window.DoEvents(ignored.put());
            window.Close(ignored.put());
            window.DoEvents(ignored.put());
        }
    };
    open_times(5);  // what is made once is made then
    const std::size_t objects = free_objects();
    const std::size_t windows = window_count();
    open_times(times);
    std::printf("objects %zu %zu\nwindows %zu %zu\n", objects, free_objects(), windows, window_count());
}

bool run_window(IVexWnd& window, const Words& words)
{
    const std::string& verb = words.front();
    if (verb == "show") {
        print_result([&](IVexResult** out) { return window.ShowModeless(0, out); });
    } else if (verb == "close") {
        print_result([&](IVexResult** out) { return window.Close(out); });
    } else if (verb == "handle") {
        INT_PTR handle = 0;
        window.get_Handle(&handle);
        std::printf("handle %lld\n", static_cast<long long>(handle));
    } else if (verb == "move") {
        window.SetPosition(number(words, 1), number(words, 2), number(words, 3), number(words, 4));
    } else if (verb == "openings") {
        open_often(window, number(words, 1));
    } else {
        return false;
    }
    return true;
}

void display(IVexDisplayWnd& window, IVexBuffer* buffer)
{
    print_result([&](IVexResult** out) { return window.Display(buffer, 0, out); });
}

/// quarters WIDTH HEIGHT, card WIDTH HEIGHT, empty, background R G B, clear
bool run_display(IVexDisplayWnd& window, const Words& words)
{
    const std::string& verb = words.front();
    if (verb == "quarters") {
        display(window, quarters(count(words, 1), count(words, 2)).buffer());
    } else if (verb == "card") {
        display(window, card(count(words, 1), count(words, 2)).buffer());
    } else if (verb == "empty") {
        display(window, create<IVexBuffer>(CLSID_VexBuffer).get());
    } else if (verb == "background") {
        print_result([&](IVexResult** out) {
            return window.SetBackgroundColor(count(words, 1), count(words, 2), count(words, 3), out);
        });
    } else if (verb == "clear") {
        window.Clear();
    } else {
        return run_window(window, words);
    }
    return true;
}

/// selected
bool run_finder(IVexDeviceFinderWnd& window, const Words& words)
{
    if (words.front() != "selected") {
        return run_window(window, words);
    }
    Ref<IVexDeviceInfo> device;
    BSTR address = nullptr;
    window.get_Selected(device.put());
    if (device) {
        device->get_IPAddress(&address);
    }
    std::printf("selected %s\n", address != nullptr ? field(address).c_str() : "none");
    SysFreeString(address);
    return true;
}

/// start: a pipeline without a stream; comes back when its message box is answered
bool run_pipeline(IVexPipeline& pipeline, const Words& words)
{
    if (words.front() != "start") {
        return false;
    }
    print_result([&](IVexResult** out) { return pipeline.Start(out); });
    return true;
}

/// A device that the client controls.
[[nodiscard]] Ref<IVexDevice> connected(const std::string& address)
{
    auto device = create<IVexDevice>(CLSID_VexDevice);
    print_result([&](IVexResult** out) { return device->ConnectString(Text(address).get(), VexAccessControl, out); });
    return device;
}

void serve_window(IVexWnd& window)
{
    Remote([&window](const Words& words) { return run_window(window, words); }).serve();
}

void serve_terminal(IVexDevice* device, int port)
{
    const auto window = create<IVexTerminalIPEngineWnd>(CLSID_VexTerminalIPEngineWnd);
    print_result([&](IVexResult** out) { return window->SetSerialPort(static_cast<VexIPEngineSerial>(port), out); });
    print_result([&](IVexResult** out) { return window->SetDevice(device, out); });
    serve_window(*window);
}

void serve_browser(IVexDevice* device)
{
    const auto window = create<IVexGenBrowserWnd>(CLSID_VexGenBrowserWnd);
    Ref<IVexGenParameterArray> features;
    device->get_GenParameters(features.put());
    window->put_GenParameterArray(features.get());
    serve_window(*window);
}

void serve_tabs(IVexDevice* device)
{
    const auto window = create<IVexGenBrowserTabbedWnd>(CLSID_VexGenBrowserTabbedWnd);
    Ref<IVexGenParameterArray> features;
    Ref<IVexGenParameterArray> link;
    unsigned int index = 0;
    device->get_GenParameters(features.put());
    device->get_GenLink(link.put());
    print_result([&](IVexResult** out) {
        return window->AddGenParameterArray(features.get(), Text("Camera").get(), &index, out);
    });
    print_result([&](IVexResult** out) {
        return window->AddGenParameterArray(link.get(), Text("Connection").get(), &index, out);
    });
    serve_window(*window);
}

void serve_bridges(IVexDevice* device)
{
    const auto window = create<IVexSerialBridgeManagerWnd>(CLSID_VexSerialBridgeManagerWnd);
    print_result([&](IVexResult** out) { return window->SetDevice(device, out); });
    serve_window(*window);
}

/// False for no kind of window of a device's.
bool serve_window_of_device(const Words& arguments)
{
    const std::string& kind = arguments.front();
    if (kind == "terminal" && arguments.size() == 3) {
        serve_terminal(connected(arguments[1]).get(), number(arguments, 2));
    } else if (kind == "browser" && arguments.size() == 2) {
        serve_browser(connected(arguments[1]).get());
    } else if (kind == "tabs" && arguments.size() == 2) {
        serve_tabs(connected(arguments[1]).get());
    } else if (kind == "bridges" && arguments.size() == 2) {
        serve_bridges(connected(arguments[1]).get());
    } else {
        return false;
    }
    return true;
}

int serve(const Words& arguments)
{
    const std::string kind = arguments.empty() ? "" : arguments.front();
    if (kind == "display") {
        const auto window = create<IVexDisplayWnd>(CLSID_VexDisplayWnd);
        Remote([&](const Words& words) { return run_display(*window, words); }).serve();
    } else if (kind == "finder") {
        const auto window = create<IVexDeviceFinderWnd>(CLSID_VexDeviceFinderWnd);
        Remote([&](const Words& words) { return run_finder(*window, words); }).serve();
    } else if (kind == "pipeline") {
        const auto pipeline = create<IVexPipeline>(CLSID_VexPipeline);
        Remote([&](const Words& words) { return run_pipeline(*pipeline, words); }).serve();
    } else if (arguments.empty() || !serve_window_of_device(arguments)) {
        std::fprintf(stderr, "gui_client display | finder | terminal ADDRESS PORT | browser ADDRESS | tabs ADDRESS | "
                             "bridges ADDRESS | pipeline\n");
        return 2;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    const Start started;
    return serve(Words(argv + 1, argv + argc));
}
