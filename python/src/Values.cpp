#include "Values.h"

#include <utility>

namespace py = pybind11;

namespace sound::python {

namespace {

using Kind = tools::FieldType::Kind;

/// Of a record or an array: the parts, each of which keeps the whole alive.
std::vector<std::shared_ptr<void>> partsOf(std::shared_ptr<void> const& whole,
                                           tools::FieldType const& type) {
    std::vector<std::shared_ptr<void>> parts;
    for (auto const& part : tools::membersOf({&type, whole.get()})) {
        parts.emplace_back(whole, part.address);
    }
    return parts;
}

}  // namespace

Values::Values(std::string_view record, std::vector<tools::FieldType const*> types)
    : record_(record), types_(std::move(types)) {
    for (auto const* const type : types_) values_.push_back(type->make());
}

Values::Values(reflection::Message const& message) : Values(message.record, message.fields) {}

Values::Values(tools::FieldType const& record) : Values(record.name, tools::memberTypes(record)) {}

Values::Values(reflection::Message const& message, tools::Fields const& fields) : Values(message) {
    for (std::size_t i = 0; i < values_.size(); ++i) {
        types_[i]->assign(values_[i].get(), fields[i].address);
    }
}

Values::Values(Value const& whole, tools::FieldType const& record)
    : record_(record.name), types_(tools::memberTypes(record)), values_(partsOf(whole, record)) {}

py::object Values::get(std::size_t index) const {
    return get(values_.at(index), *types_[index]);
}

py::object Values::get(Value const& value, tools::FieldType const& type) {
    switch (type.kind) {
        case Kind::kRecord:
            return py::cast(Values(value, type));
        case Kind::kArray: {
            py::list elements;
            for (auto const& part : partsOf(value, type)) {
                elements.append(get(part, *type.element));
            }
            return py::tuple(elements);
        }
        case Kind::kString: {
            auto const& text = *static_cast<std::string const*>(value.get());
            return py::reinterpret_steal<py::object>(
                PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "replace"));
        }
        case Kind::kBool:
            return py::bool_(*static_cast<bool const*>(value.get()));
        case Kind::kInteger:
            break;
    }
    return py::int_(tools::integerOf({&type, value.get()}));
}

void Values::set(std::size_t index, std::string const& json) {
    auto const scratch = types_.at(index)->make();
    auto changed = fields();
    changed[index].address = scratch.get();
    tools::fieldsFromJson({{tools::fieldName(index), tools::parseJson(json)}}, changed);
    types_[index]->assign(values_[index].get(), scratch.get());
}

void Values::update(std::string const& json) {
    Values scratch(record_, types_);
    copyTo(scratch.fields());
    tools::fieldsFromJson(tools::parseJson(json), scratch.fields());
    scratch.copyTo(fields());
}

void Values::copyTo(tools::Fields const& fields) const {
    for (std::size_t i = 0; i < fields.size(); ++i) {
        types_[i]->assign(fields[i].address, values_.at(i).get());
    }
}

/// With the names and ranges that the user has given by now.
tools::Fields Values::fields() const {
    tools::Fields fields;
    for (std::size_t i = 0; i < values_.size(); ++i) {
        fields.push_back({types_[i], values_[i].get(), tools::noteOf(record_, i)});
    }
    return fields;
}

}  // namespace sound::python
