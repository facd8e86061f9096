// Slash-separated paths as they cross the seam: "/list/entry/leaf", tags with or without a prefix. Knows no model.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ocamp {

/// Tag without the prefix that may stand before it ("a1:optics" gives "optics").
std::string_view without_prefix(std::string_view tag) noexcept;

/// Tags of an absolute path, the root first, prefixes taken off. Empty when the path does not begin with a slash or
/// has an empty step; such a path leads nowhere.
std::vector<std::string_view> path_steps(std::string_view path);

/// True for a path that has steps in that sense. For those who only ask, or walk the path themselves.
bool leads_somewhere(std::string_view path) noexcept;
/// Takes the first step off a path that leads somewhere; gives its tag, prefix taken off.
std::string_view take_step(std::string_view &path) noexcept;

/// Last tag of a path, prefix taken off; empty for a path that ends in a slash.
std::string_view last_step(std::string_view path) noexcept;

/// A data path without module names: "/m:list[key='a:b']/leaf" gives "/list[key='a:b']/leaf".
std::string without_modules(std::string_view data_path);

/// A data path without the keys of its steps: "/m:list[key='a/b']/leaf" gives "/m:list/leaf".
std::string without_keys(std::string_view data_path);

/// One step of a data path with its key, such as amplifier[name='0/1-AMP-PRE'].
std::string step_with_key(std::string_view tag, std::string_view key_name, std::string_view key_value);

} // namespace ocamp
