// Creates an object of every class of the server, by its name, and asks each for its type information.
//
//   all_classes
//
// The server need not be registered: all_classes.exe.manifest beside the program names the assembly
// VexKamCOMWrapper.Server, and VexKamCOMWrapper.Server.manifest says which classes the DLL beside it has. To use the
// server from a program of your own like that, put these two files and the DLL beside it, with the first one's name
// changed. Ends with 0 when all classes were created. Run in the tests.
#include <cstdio>
#include <string>

#include "automation.h"

using automation::Failure;
using automation::Ref;
using automation::Text;

namespace {

void check(HRESULT outcome, const std::wstring& what)
{
    if (FAILED(outcome)) {
        wchar_t code[16];
        std::swprintf(code, 16, L"%08lX", static_cast<unsigned long>(outcome));
        throw Failure{what + L" failed with 0x" + code};
    }
}

// Scripts name a class by its program identifier, which has at most 39 characters.
void create_by_name(const std::wstring& name)
{
    const std::wstring identifier = (L"VexKamCOMWrapper." + name).substr(0, 39);
    CLSID clsid{};
    check(CLSIDFromProgID(identifier.c_str(), &clsid), L"Looking up " + identifier);
    Ref<IDispatch> object;
    check(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, reinterpret_cast<void**>(object.out())),
          L"Creating " + identifier);
    Ref<ITypeInfo> info;
    check(object->GetTypeInfo(0, LOCALE_USER_DEFAULT, info.out()), L"Asking " + identifier + L" for its members");
}

bool is_class(ITypeLib& library, UINT at)
{
    TYPEKIND kind = TKIND_ALIAS;
    return SUCCEEDED(library.GetTypeInfoType(at, &kind)) && kind == TKIND_COCLASS;
}

/// How many could not be created.
int create_all()
{
    Ref<ITypeLib> library;
    check(LoadRegTypeLib(LIBID_VexKamCOMWrapperLib, 2, 1, LOCALE_USER_DEFAULT, library.out()),
          L"Loading the type library");
    int created = 0;
    int failed = 0;
    for (UINT at = 0; at < library->GetTypeInfoCount(); ++at) {
        if (!is_class(*library.get(), at)) {
            continue;
        }
        Text name;
        library->GetDocumentation(static_cast<INT>(at), name.out(), nullptr, nullptr, nullptr);
        try {
            create_by_name(name.str());
            ++created;
        } catch (const Failure& failure) {
            std::printf("%ls.\n", failure.text.c_str());
            ++failed;
        }
    }
    std::printf("%d classes were created, %d could not be created.\n", created, failed);
    return created > 0 ? failed : 1;
}

}  // namespace

int main()
{
    int code = 1;
    if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {
        return code;
    }
    try {
        code = create_all() == 0 ? 0 : 1;
    } catch (const Failure& failure) {
        std::printf("%ls.\n", failure.text.c_str());
    }
    CoUninitialize();
    return code;
}
