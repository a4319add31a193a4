#include "server/sdk_face.h"

#include <string>

#include "sdk/base/PvString.h"
#include "server/module.h"
#include "server/wall.h"

namespace vex::server {

namespace {

std::string argument(int position)
{
    return position != 0 ? "Argument " + std::to_string(position) : std::string("The argument");
}

}  // namespace

SdkFace* sdk_face_of(IUnknown* object) noexcept
{
    // another module's object is not asked: it might answer for one of this module's that it aggregates
    void* face = nullptr;
    return Module::implements(object) && SUCCEEDED(object->QueryInterface(sdk_face_id, &face))
               ? static_cast<SdkFace*>(face)
               : nullptr;
}

void throw_null_argument(int position, std::string_view wanted)
{
    throw HresultError{E_POINTER, argument(position) + " is nothing where an " + std::string(wanted) + " is wanted"};
}

void throw_wrong_argument(int position, std::string_view wanted)
{
    throw HresultError{E_INVALIDARG, argument(position) + " is not an " + std::string(wanted) + " of this library"};
}

void throw_empty_argument(int position, std::string_view wanted)
{
    throw HresultError{E_POINTER, argument(position) + ", an " + std::string(wanted) + ", has nothing behind it"};
}

void throw_not_attached(const wchar_t* class_name)
{
    throw HresultError{E_POINTER, "This " + PvString(class_name).str() + " is not attached to anything"};
}

}  // namespace vex::server
