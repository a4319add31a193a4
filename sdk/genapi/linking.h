// The steps of linking, in their order.
#pragma once

#include "sdk/genapi/loading.h"

namespace GenApi {

/// Names become nodes; every node is checked for what it needs.
void link_names(Loading& loading);
/// Formulas become code.
void link_formulas(Loading& loading);
/// Nodes whose value depends on itself, or on too long a chain, are broken.
void break_cycles(Loading& loading);
/// Categories become a tree; features get their order and what they inherit.
void link_features(Loading& loading);
/// Registers get their cells.
void link_cells(Loading& loading);
/// Changes get their ways.
void link_changes(Loading& loading);

/// How long a chain of values may be that depend on each other.
inline constexpr std::uint32_t longest_chain = 100;

}  // namespace GenApi
