#include "session.h"

#include <cmath>

#include "errors.h"
#include "message_json.h"
#include "text_input.h"

namespace tools {

namespace {

/// Of the file's form.
constexpr int kVersion = 1;
constexpr std::size_t kMostMessages = 1'000'000;

bool isHead(Json const& line) {
    return line.is_object() && line.contains("session") && line["session"] == kVersion;
}

/// It is no message, and another recording of the same session has others.
bool isAboutAudio(Json const& line) {
    return line.is_object() && line.contains("audio");
}

SessionMessage readMessage(Json const& line, std::size_t number, double earliest) {
    bool const isComplete = line.is_object() && line.contains("at") && line["at"].is_number() &&
                            line.contains("notification") && line["notification"].is_string() &&
                            line.contains("arguments");
    if (!isComplete) {
        throw UsageError(R"(expected is an object with "at", "notification" and "arguments")");
    }
    SessionMessage message{line["at"].get<double>(), number,
                           line["notification"].get<std::string>(), line["arguments"]};
    if (!(message.at >= earliest)) throw UsageError("\"at\" is before that of the line above");
    return message;
}

Session readSession(std::istream& input, std::size_t& number) {
    std::string text;
    number = 1;
    auto const head = readLine(input, text) ? Json::parse(text, nullptr, false) : Json();
    if (!isHead(head)) throw UsageError("this is no session that soundctl record has written");
    Session session{!head.contains("interface") || head["interface"] == interfaceFingerprint(), {}};
    for (++number; readLine(input, text); ++number) {
        if (session.messages.size() == kMostMessages) throw UsageError("there is too much of it");
        auto const json = parseJson(text);
        if (isAboutAudio(json)) continue;
        double const earliest = session.messages.empty() ? 0 : session.messages.back().at;
        session.messages.push_back(readMessage(json, number, earliest));
    }
    return session;
}

}  // namespace

SessionWriter::SessionWriter(std::string const& path) : path_(path), file_(path) {
    Json head{{"session", kVersion}, {"interface", interfaceFingerprint()}};
    head.update(timedLine());
    write(head);
}

void SessionWriter::add(sound::reflection::Message const& notification, Json const& arguments) {
    writeNow(notificationLine(notification, arguments));
}

void SessionWriter::addAudio(std::string const& path, std::uint64_t frame,
                             StreamFormat const& format) {
    auto what = timedLine();
    what.update(
        {{"audio", path}, {"frame", frame}, {"rate", format.rate}, {"channels", format.channels}});
    writeNow(what);
}

void SessionWriter::writeNow(Json const& what) {
    std::chrono::duration<double> const at = std::chrono::steady_clock::now() - start_;
    Json line{{"at", std::round(at.count() * 1e6) / 1e6}};
    line.update(what);
    write(line);
}

void SessionWriter::write(Json const& line) {
    file_ << toText(line) << std::endl;
    if (!file_) throw std::runtime_error(path_ + " cannot be written");
}

Session readSession(std::string const& path) {
    std::ifstream file(path);
    if (!file) throw UsageError(path + ": cannot be read");
    std::size_t number = 0;
    try {
        return readSession(file, number);
    } catch (std::exception const& error) {
        throw UsageError(path + ':' + std::to_string(number) + ": " + error.what());
    }
}

}  // namespace tools
