#pragma once
// The little the browser code reads from a browser's JSON files (`Local State`,
// `Bookmarks`): the member names of one object and the strings stored under one
// name. Malformed text yields what was read before the fault; nothing throws.
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace velloran {

// The member names of the object that `path` leads to from the top object, each
// step a member name: {"profile", "info_cache"}. Empty when there is none.
std::vector<std::string> JsonObjectKeys(std::string_view json,
                                        std::initializer_list<std::string_view> path);

// Every string value of a member named `name`, in any object at any depth.
std::vector<std::string> JsonStringsNamed(std::string_view json, std::string_view name);

}  // namespace velloran
