// The JSON value types of the library.
//
// `AnyCodable` is any JSON value that is written back as it was read: Boost.JSON's value keeps object
// keys in the order read and tells integers from doubles, and its equality ignores key order, as a
// dictionary's should.
#pragma once

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/value.hpp>

namespace tav {

using JsonValue = boost::json::value;
using JsonObject = boost::json::object;
using JsonArray = boost::json::array;

/// An arbitrary JSON value kept for writing back unchanged (unknown keys, unknown layer kinds).
using AnyCodable = boost::json::value;

}  // namespace tav
