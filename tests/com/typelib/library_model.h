// What a type library says, as plain values that can be compared and printed.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

struct Member {
    long id = 0;
    std::string kind;  // get, put or method
    std::string name;
    std::string parameters;  // "in UINT aIndex; out,retval IVexResult** result"; a put's value has no name
    std::string help;        // expected: empty where any text will do
    int slot = 0;            // in the vtable, from 0; 0 for events
};

struct Interface {
    std::string name;
    std::string iid;
    std::string kind;  // dual or events
    std::string base;
    std::string help;
    bool nonextensible = false;
    std::vector<Member> members;  // without inherited ones, in slot order
};

struct Class {
    std::string name;
    std::string clsid;
    bool creatable = false;
    std::string default_interface;
    std::string source;                // empty for none
    std::vector<std::string> further;  // interfaces that are neither default nor source
};

struct Enumeration {
    std::string name;
    std::vector<std::pair<std::string, long>> constants;
};

struct Library {
    std::string name;
    std::string libid;
    std::string version;
    std::string help;
    std::map<std::string, Class> classes;
    std::map<std::string, Interface> interfaces;
    std::map<std::string, Enumeration> enumerations;
};

/// What clients rely on.
Library expected_library();

/// What a module or .tlb file says. Throws std::runtime_error when it cannot be read.
Library read_library(const std::wstring& path);
