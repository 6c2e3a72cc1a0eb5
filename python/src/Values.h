#pragma once

#include <pybind11/pybind11.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "message_list.h"

namespace sound::python {

/// The fields of a record or a message, whatever these are. Values are always in range.
class Values {
public:
    /// Zero and empty.
    explicit Values(reflection::Message const& message);
    explicit Values(tools::FieldType const& record);
    /// Copies.
    Values(reflection::Message const& message, tools::Fields const& fields);

    /// @return an int, a bool, a str, a tuple, or Values that are part of these
    pybind11::object get(std::size_t index) const;

    /// @throws tools::FieldError, tools::Json::parse_error, with nothing changed
    void set(std::size_t index, std::string const& json);

    /// Sets several, by their names; from all that @p json says or from nothing of it.
    /// @throws as set()
    void update(std::string const& json);

    /// As the programs write it.
    std::string json() const { return tools::toText(tools::fieldsToJson(fields())); }

    /// Sets fields of the same types.
    void copyTo(tools::Fields const& fields) const;

    std::string_view record() const { return record_; }

private:
    using Value = std::shared_ptr<void>;

    Values(std::string_view record, std::vector<tools::FieldType const*> types);
    Values(Value const& whole, tools::FieldType const& record);
    static pybind11::object get(Value const& value, tools::FieldType const& type);
    tools::Fields fields() const;

    std::string_view record_;
    std::vector<tools::FieldType const*> types_;
    std::vector<Value> values_;
};

}  // namespace sound::python
