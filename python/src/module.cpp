// The part of the Python package that is in C++. It knows no record and no message by name: Python
// makes its classes and methods from describe(), by the indices of the lists there.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <map>

#include "Client.h"
#include "errors.h"
#include "message_json.h"
#include "names_file.h"
#include "service_address.h"
#include "Sound.h"
#include "start_agent.h"
#include "Values.h"
#include "without_interpreter.h"

namespace py = pybind11;

namespace sound::python {

namespace {

using reflection::commands;
using reflection::notifications;

// pybind11 has the parameter so. NOLINTNEXTLINE(performance-unnecessary-value-param)
void raiseInPython(std::exception_ptr thrown) {
    try {
        if (thrown) std::rethrow_exception(thrown);
    } catch (tools::Json::exception const& error) {
        PyErr_SetString(PyExc_ValueError, error.what());
    } catch (tools::FieldError const& error) {
        PyErr_SetString(PyExc_ValueError, error.what());
    } catch (tools::UsageError const& error) {
        PyErr_SetString(PyExc_ValueError, error.what());
    } catch (tools::Failure const& error) {
        PyErr_SetString(PyExc_OSError, error.what());
    }
}

using RecordTypes = std::map<std::string_view, tools::FieldType const*>;

void addRecords(std::vector<tools::FieldType const*> const& types, RecordTypes& records) {
    for (auto const* type : types) {
        if (type->kind == tools::FieldType::Kind::kArray) type = type->element;
        if (type->kind != tools::FieldType::Kind::kRecord) continue;
        records[type->name] = type;
        addRecords(tools::memberTypes(*type), records);
    }
}

/// The records that are part of others.
RecordTypes const& innerRecords() {
    static RecordTypes const kRecords = [] {
        RecordTypes records;
        for (auto const& command : commands()) addRecords(command.fields, records);
        for (auto const& notification : notifications()) addRecords(notification.fields, records);
        return records;
    }();
    return kRecords;
}

void useNames(std::string const& path) {
    if (agentHasStarted()) {
        throw tools::UsageError(path +
                                ": names have to be given before the first Listener or Client");
    }
    tools::useNamesFile(path);
}

void declareValues(py::module_& module) {
    py::class_<Values>(module, "Values")
        .def("get", py::overload_cast<std::size_t>(&Values::get, py::const_), py::arg("index"))
        .def("set", &Values::set, py::arg("index"), py::arg("json"))
        .def("update", &Values::update, py::arg("json"))
        .def("json", &Values::json)
        .def_property_readonly("record", &Values::record);
    module.def(
        "arguments_of_command", [](std::size_t index) { return Values(commands()[index]); },
        py::arg("index"));
    module.def(
        "arguments_of_notification",
        [](std::size_t index) { return Values(notifications()[index]); }, py::arg("index"));
    module.def(
        "inner_record", [](std::string const& name) { return Values(*innerRecords().at(name)); },
        py::arg("name"));
}

void declareClient(py::module_& module) {
    py::class_<Inbox, std::shared_ptr<Inbox>>(module, "Inbox")
        .def(py::init<std::vector<std::size_t>>(), py::arg("wanted"))
        .def("fileno", [](Inbox& inbox) { return inbox.mailbox().descriptor(); })
        .def("pop",
             [](Inbox& inbox) -> std::optional<std::pair<std::size_t, Values>> {
                 auto heard = inbox.mailbox().pop();
                 if (!heard) return std::nullopt;
                 return std::pair(heard->notification, std::move(heard->arguments));
             })
        .def("close", [](Inbox& inbox) { inbox.mailbox().close(); })
        .def_property_readonly("closed", [](Inbox& inbox) { return inbox.mailbox().isClosed(); })
        .def_property_readonly("overruns", &Inbox::overruns);

    py::class_<Client>(module, "Client")
        .def(py::init([] { return withoutInterpreter([] { return std::make_unique<Client>(); }); }))
        .def(
            "send",
            [](Client& client, std::size_t index, Values const& arguments) {
                auto const& command = commands()[index];
                return withoutInterpreter([&] { return client.send(command, arguments); });
            },
            py::arg("command"), py::arg("arguments"))
        .def("listen", &Client::listen, py::arg("inbox"))
        .def("close", [](Client& client) { withoutInterpreter([&] { client.close(); }); });
}

/// As bytes: pybind11's own way to numpy deadlocks when two threads take it for the first time.
std::optional<py::bytearray> popBlock(Sound& sound) {
    auto const samples = sound.mailbox().pop();
    if (!samples) return std::nullopt;
    return py::bytearray(reinterpret_cast<char const*>(samples->data()), samples->size());
}

void declareSound(py::module_& module) {
    py::class_<Sound, std::shared_ptr<Sound>>(module, "Sound")
        .def(py::init([](int rate, int channels, bool isGiven, double seconds) {
                 return std::make_shared<Sound>(tools::StreamFormat{rate, channels}, isGiven,
                                                seconds);
             }),
             py::arg("rate"), py::arg("channels"), py::arg("is_given"), py::arg("seconds"))
        .def("start",
             [](std::shared_ptr<Sound> const& sound) {
                 withoutInterpreter([&] { startAgent().add(sound); });
             })
        .def("enable",
             [](Sound const&) { return withoutInterpreter([] { return startAgent().enable(); }); })
        .def("close",
             [](std::shared_ptr<Sound> const& sound) {
                 withoutInterpreter([&] { startAgent().remove(sound); });
                 sound->mailbox().close();
             })
        .def("fileno", [](Sound& sound) { return sound.mailbox().descriptor(); })
        .def("pop", &popBlock)
        .def("news", &Sound::news)
        .def_property_readonly("closed", [](Sound& sound) { return sound.mailbox().isClosed(); })
        .def_property_readonly("lost", &Sound::lost)
        .def_property_readonly("overruns", &Sound::overruns)
        .def_property_readonly("format",
                               [](Sound const& sound) -> std::optional<std::pair<int, int>> {
                                   if (!sound.hasBegun()) return std::nullopt;
                                   return std::pair(sound.format().rate, sound.format().channels);
                               });
}

}  // namespace

static void declareModule(py::module_& module) {
    py::register_exception_translator(&raiseInPython);
    module.attr("version") = AUDVIK_VERSION;
    module.attr("HIGHEST_RATE") = tools::kHighestRate;
    module.attr("MOST_CHANNELS") = tools::kMostChannels;
    module.def(
        "describe", [] { return tools::toText(tools::describeInterface("")); },
        "The interface, as audvik-json(5) describes it.");
    module.def("use_names", &useNames, py::arg("path"));
    module.def("service_address", &tools::serviceAddress);
    declareValues(module);
    declareClient(module);
    declareSound(module);
}

}  // namespace sound::python

PYBIND11_MODULE(_native, module) {
    sound::python::declareModule(module);
}
