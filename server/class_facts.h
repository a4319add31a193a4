// What the frame knows about a class: its row of the class table, as a type.
#pragma once

namespace vex::server {

/// Specialised for each class from server/classes.txt: Interface (the default dual interface), Events (the source
/// interface or void), clsid, name and prog_id (the versioned program identifier).
template <class T>
struct ClassFacts;

/// Type: the dual interface that a dual interface extends; void where it extends IDispatch. Specialised from the
/// interface definitions.
template <class Interface>
struct InterfaceBase {
    using Type = void;
};

}  // namespace vex::server
