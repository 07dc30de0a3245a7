// What test files are made of, for people who write one.
#pragma once

#include <string>

namespace orv::app {

struct Explanation {
    bool is_known = true;
    std::string text;  ///< complete lines; an error text if there is no such class
};

/// A class of the data models that are active: its place in a file, its properties with type, range, default,
/// unit and meaning, its relations, and an example that can be copied. Without a name all classes that a file
/// can hold.
Explanation ExplainClass(const std::string& class_name);

}  // namespace orv::app
