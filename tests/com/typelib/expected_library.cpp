#include "tests/com/typelib/library_model.h"

// The facts are written as lines that the macros below append to the library being filled.

namespace {

constexpr bool creatable = true;
constexpr bool not_creatable = false;
constexpr const char* any_help = "";

struct Filler {
    Library library;
    Interface* interface_now = nullptr;
    Class* class_now = nullptr;
    Enumeration* enumeration_now = nullptr;

    void add_interface(Interface added)
    {
        interface_now = &library.interfaces.emplace(added.name, added).first->second;
    }
    void add_member(Member member) { interface_now->members.push_back(std::move(member)); }
    void add_class(Class added) { class_now = &library.classes.emplace(added.name, added).first->second; }
    void add_enumeration(const std::string& name)
    {
        enumeration_now = &library.enumerations.emplace(name, Enumeration{name, {}}).first->second;
    }

    int inherited_slots(const std::string& name) const
    {
        constexpr int dispatch_slots = 7;
        if (name == "IDispatch") {
            return dispatch_slots;
        }
        const Interface& base = library.interfaces.at(name);
        return inherited_slots(base.base) + static_cast<int>(base.members.size());
    }

    void number_slots()
    {
        for (auto& [name, filled] : library.interfaces) {
            if (filled.kind == "dual") {
                int slot = inherited_slots(filled.base);
                for (Member& member : filled.members) {
                    member.slot = slot++;
                }
            }
        }
    }
};

}  // namespace

#define DUAL_INTERFACE(name, iid, base, help) filler.add_interface({#name, iid, "dual", #base, help, true, {}});
#define EVENTS(name, iid) filler.add_interface({#name, iid, "events", "", any_help, false, {}});
#define MEMBER(id, kind, name, parameters) filler.add_member({id, #kind, #name, parameters, any_help, 0});
#define HELP(text) filler.interface_now->members.back().help = text;
#define ENUMERATION(name) filler.add_enumeration(#name);
#define CONSTANT(name, value) filler.enumeration_now->constants.emplace_back(#name, value);
#define CLASS(name, clsid, creatable, default_interface, source)                                                       \
    filler.add_class(                                                                                                  \
        {#name, clsid, creatable, #default_interface, std::string(#source) == "no_events" ? "" : #source, {}});
#define ALSO(name) filler.class_now->further.emplace_back(#name);

Library expected_library()
{
    Filler filler;
    filler.library.name = "VexKamCOMWrapperLib";
    filler.library.libid = "{700AA29B-D8AA-4AEE-9675-F81AB620D46E}";
    filler.library.version = "2.1";
    filler.library.help = "VexKamCOMWrapper 2.1 Type Library";
#include "tests/com/typelib/facts/buffers.inc"
#include "tests/com/typelib/facts/classes.inc"
#include "tests/com/typelib/facts/devices.inc"
#include "tests/com/typelib/facts/genicam.inc"
#include "tests/com/typelib/facts/gui.inc"
#include "tests/com/typelib/facts/persistence.inc"
#include "tests/com/typelib/facts/serial.inc"
#include "tests/com/typelib/facts/server.inc"
#include "tests/com/typelib/facts/streaming.inc"
    filler.number_slots();
    return std::move(filler.library);
}
