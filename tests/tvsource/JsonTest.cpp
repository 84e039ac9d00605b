// What --json prints is what docs/tvsource.md describes: each field, with its type, and no other.
#include "tests/support/CHttpServer.h"
#include "tests/support/CTempFolder.h"
#include "tests/tvsource/CHost.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>

namespace {

using Json = nlohmann::json;

struct Field {
    std::string types;  // "integer or null"
    bool isOptional;
};
using Fields = std::map<std::string, Field>;  // by path: "offers[].major"

// The fields in the table below a heading.
Fields FieldsOf(const std::string& heading) {
    const std::string document = BytesOf(DocumentFile(L"tvsource.md"));
    const size_t begin = document.find("\n" + heading + "\n");
    EXPECT_NE(document.npos, begin) << heading;
    std::istringstream lines(document.substr(begin + 1, document.find("\n##", begin + 1) - begin));
    Fields fields;
    const std::regex kRow(R"(\| (`[^|]*`) \| ([a-z ]+) \|.*)"), kName("`([^`?]+)([?])?`");
    for (std::string line; std::getline(lines, line);) {
        std::smatch row;
        if (!std::regex_match(line, row, kRow))
            continue;
        const std::string names = row[1];
        for (std::sregex_iterator name(names.begin(), names.end(), kName), end; name != end; ++name)
            fields[(*name)[1]] = {row[2], (*name)[2].matched};
    }
    return fields;
}

std::string TypeOf(const Json& value) {
    if (value.is_number_integer())
        return "integer";
    return value.type_name();
}

void Check(const Json& value, const std::string& path, const Fields& fields);

// `types`: "integer or null", say, or the name of an object that has a table of its own.
void CheckType(const Json& value, const std::string& types) {
    const std::string type = TypeOf(value);
    const bool isPlain = types.find(type) != types.npos || (type == "integer" && types.find("number") != types.npos);
    if (type == "object" && !isPlain)
        Check(value, "", FieldsOf("### " + types.substr(0, types.find(' '))));
    else
        EXPECT_TRUE(isPlain) << value << " is no " << types;
}

void CheckMembers(const Json& object, const std::string& path, const Fields& fields) {
    for (const auto& [key, each] : object.items()) {
        const std::string name = path.empty() ? key : path + "." + key;
        Check(each, fields.contains(name) ? name : path + ".*", fields);
    }
    for (const auto& [name, field] : fields) {
        const size_t dot = name.rfind('.');
        const std::string parent = dot == name.npos ? "" : name.substr(0, dot), last = name.substr(dot + 1);
        if (parent == path && !field.isOptional && !last.ends_with("[]") && last != "*") {
            EXPECT_TRUE(object.contains(last) || object.contains("error")) << name << " is missing";
        }
    }
}

void Check(const Json& value, const std::string& path, const Fields& fields) {
    if (path.empty())
        return CheckMembers(value, path, fields);
    const auto field = fields.find(path);
    ASSERT_NE(fields.end(), field) << path << " is not described";
    SCOPED_TRACE(path);
    CheckType(value, field->second.types);
    if (value.is_array())
        for (const Json& each : value)
            Check(each, path + "[]", fields);
    const bool isDescribedHere =
        std::ranges::any_of(fields, [&](const auto& each) { return each.first.starts_with(path + "."); });
    if (value.is_object() && isDescribedHere)
        CheckMembers(value, path, fields);
}

void CheckObject(const Json& object, const std::string& section) {
    SCOPED_TRACE(section + ": " + object.dump());
    Fields fields = FieldsOf("## Output");
    fields.merge(FieldsOf("## " + section));
    Check(object, "", fields);
}

// Each line of the output is an object that the document describes.
std::vector<Json> CheckedObjects(const HostRun& run, const std::string& section) {
    std::vector<Json> objects;
    std::istringstream lines(run.out);
    for (std::string line; std::getline(lines, line);) {
        objects.push_back(Json::parse(line, nullptr, false));
        EXPECT_TRUE(objects.back().is_object()) << line;
        if (objects.back().is_object())
            CheckObject(objects.back(), section);
    }
    EXPECT_FALSE(objects.empty());
    EXPECT_EQ(run.exitCode == 0,
              std::ranges::none_of(objects, [](const Json& each) { return each.contains("error"); }));
    return objects;
}

TEST(Json, ObjectsAreAsTheyAreDescribed) {
    CTempFolder folder;
    const std::wstring wave = MediaFile(L"tone.wav"), missing = folder.PathOf(L"missing \"\u97F3.wav");
    const std::wstring out = folder.Write("", L"out");
    const std::wstring damaged = folder.Write("RIFF", L"x.unreadable");
    const std::tuple<const wchar_t*, std::vector<std::wstring>, const wchar_t*, size_t> rows[] = {
        {L"info", {wave, wave}, L"TvFileSourceAsync.dll", 2},
        {L"info", {missing, wave}, L"TvFileSourceAsync.dll", 2},
        {L"info", {damaged}, kAwkward, 1},
        {L"cat", {L"-o", out, L"--offset", L"4", wave}, L"TvFileSourceAsync.dll", 1},
        {L"cat", {L"-o", folder.PathOf(L"no\\out"), wave}, L"TvFileSourceAsync.dll", 1},
        {L"play", {missing}, L"TvFileSourceAsync.dll", 1},
        {L"verify", {wave, missing}, L"TvFileSourceAsync.dll", 2},
        {L"graph", {missing}, L"TvFileSourceAsync.dll", 1},
        {L"trace", {L"-o", out, missing}, L"TvFileSourceAsync.dll", 1},
        {L"replay", {damaged, wave}, L"TvFileSourceAsync.dll", 1},
        {L"batch", {missing, folder.PathOf(L"no*")}, L"TvFileSourceAsync.dll", 3},
        {L"verify", {L"--sha256", std::wstring(64, L'0'), wave}, L"TvFileSourceAsync.dll", 1},
    };
    for (auto [command, arguments, dll, count] : rows) {
        arguments.insert(arguments.begin(), L"--json");
        const HostRun run = RunWithFilter(command, arguments, dll);
        EXPECT_EQ(count, CheckedObjects(run, Utf8(command)).size());
        EXPECT_TRUE(run.err.empty() || dll == kAwkward) << run.err;
    }
    const HostRun detect = RunHost({L"detect", L"--json", L"--explain", wave, missing});
    EXPECT_EQ(2u, CheckedObjects(detect, "detect").size());
    for (const wchar_t* name : {L"http://me:pw@[::1]:80/a//b?q#f", L"x", L"", L"\\\\s\\s\\x"})
        EXPECT_EQ(1u, CheckedObjects(RunHost({L"uri", L"--json", name}), "uri").size());
}

TEST(Json, OfAPlayedSourceIsAsItIsDescribed) {
    if (!HasParsers())
        GTEST_SKIP() << "the platform has no parsers for programs of this bitness";
    CTempFolder folder;
    const std::wstring trace = folder.Write("", L"trace"), picture = folder.Write("", L"x.svg");
    for (const wchar_t* name : {L"clip.avi", L"tone.flac", L"tone.wav"}) {
        SCOPED_TRACE(Utf8(name));
        const std::wstring file = MediaFile(name);
        const std::pair<const wchar_t*, std::vector<std::wstring>> rows[] = {
            {L"info", {file}},
            {L"play", {L"--null", file}},
            {L"play", {L"--frame", L"0.2", L"-o", picture, file}},
            {L"graph", {L"-o", picture, file}},
            {L"trace", {L"-o", trace, file}},
            {L"replay", {trace, file}},
            {L"replay", {trace, MediaFile(L"tone.mp3")}},
            {L"batch", {file}},
        };
        for (auto [command, arguments] : rows) {
            arguments.insert(arguments.begin(), L"--json");
            const HostRun run = RunWithFilter(command, arguments);
            for (const Json& object : CheckedObjects(run, Utf8(command)))
                for (const char* part : {"info", "verify", "play"})
                    if (object.contains(part))
                        CheckObject(object[part], part);
        }
    }
    const std::wstring text = folder.Write("no media at all", L"text.avi");
    const std::pair<const wchar_t*, std::vector<std::wstring>> refused[] = {
        {L"play", {L"--null"}}, {L"graph", {L"-o", picture}}, {L"trace", {L"-o", trace}}};
    for (auto [command, arguments] : refused) {
        arguments.insert(arguments.end(), {L"--json", text});
        EXPECT_FALSE(CheckedObjects(RunWithFilter(command, arguments), Utf8(command)).at(0)["tried"].empty());
    }
}

TEST(Json, AFailureHasItsStepItsCodeAndItsWords) {
    CTempFolder folder;
    const std::wstring wave = MediaFile(L"tone.wav"), dll = BuiltFile(L"TvFileSourceAsync.dll");
    const std::wstring out = folder.Write("", L"out");
    const std::wstring broken = folder.Write(std::string(200'000, 'x'), L"long.broken");
    struct Row {
        std::vector<std::wstring> line;
        unsigned exitCode;
        std::string step, code, words;
    };
    std::vector<Row> rows = {
        {{L"info", L"--dll", dll, folder.PathOf(L"missing")}, 1, "open", "0x80070002", "Cannot find "},
        {{L"info", L"--dll", folder.PathOf(L"missing.dll"), wave},
         1,
         "filter",
         "0x8007007E",
         "Cannot load the library "},
        {{L"cat", L"--dll", dll, L"-o", folder.Path(), wave}, 1, "write", "0x80070005", "Cannot write "},
        {{L"cat", L"--dll", BuiltFile(kAwkward), L"-o", out, broken}, 1, "read", "0x8003001E", "The source could"},
        {{L"detect", folder.PathOf(L"no*.x")}, 1, "find", "", "no file has such a name"},
        {{L"uri", L""}, 1, "open", "", "'' is no name"},
        {{L"sing", wave}, 2, "arguments", "", "'sing' is no command"},
        {{L"cat", wave}, 2, "arguments", "", "--json: "},
    };
    // A device that is always full. Not every platform has one.
    const std::wstring full = L"Z:\\dev\\full";
    if (OpenInherited(full, GENERIC_WRITE)) {
        rows.push_back({{L"cat", L"--dll", dll, L"-o", full, wave}, 1, "write", "0x80070070", "Cannot write Z:"});
        for (const wchar_t* report : {L"--report", L"--junit"})
            rows.push_back({{L"batch", L"--dll", dll, folder.PathOf(L"missing"), report, full},
                            1,
                            "write",
                            "0x80070070",
                            "Cannot write Z:"});
    }
    for (const auto& row : rows) {
        std::vector<std::wstring> line = row.line;
        line.push_back(L"--json");
        const HostRun run = RunHost(line);
        SCOPED_TRACE(run.out);
        EXPECT_EQ(row.exitCode, run.exitCode);
        EXPECT_EQ(run.err.npos, run.err.find("tvsource")) << run.err;
        const size_t last = run.out.rfind('\n', run.out.size() - 2) + 1;  // batch tells the sources before
        const Json error = Json::parse(run.out.substr(last), nullptr, false).value("error", Json::object());
        EXPECT_EQ(row.step, error.value("step", ""));
        EXPECT_EQ(row.code, error.value("code", ""));
        EXPECT_TRUE(error.value("words", "").starts_with(row.words));
    }
}

TEST(Json, AFailureSaysWhatOneCanDo) {
    CTempFolder folder;
    const std::wstring text = folder.Write("no sound in here at all", L"text"), trace = folder.Write("", L"trace");
    const std::wstring here = BuiltFile(L"tvsource.exe"), filter = BuiltFile(L"TvFileSourceAsync.dll");
    const std::wstring alone = folder.Copy(here, L"alone\\tvsource.exe"),
                       filterAlone = folder.Copy(filter, L"alone\\filter.dll");
    const auto registered = [](const wchar_t* name) { return "regsvr32 \"" + Utf8(BuiltFile(name)) + "\" registers "; };
    for (const wchar_t* name : {L"TvFileSourceAsync.dll", L"TvDataServices.dll"})  // whatever was before
        static_cast<void>(RunHost({L"/s", L"/u", BuiltFile(name)}, L"regsvr32.exe"));
    const struct {
        std::wstring program;
        std::vector<std::wstring> words;
        std::string advice;
        bool infoFails;  // it needs no parser that takes the source
    } rows[] = {{here, {text}, registered(L"TvFileSourceAsync.dll") + "it, --dll does without", true},
                {here, {L"--dll", filter, L"http://127.0.0.1:9/x"}, registered(L"TvDataServices.dll"), true},
                {here, {L"--dll", filter, L"--type", L"WAVE", text}, "offered as Stream / WAVE; --type offers", false},
                {here, {L"--dll", filter, text}, "found: the content is of no known type; --type offers", false},
                {alone,
                 {L"--dll", filterAlone, text},
                 "the MIME dictionary belongs into " + Utf8(folder.PathOf(L"alone\\")),
                 true}};
    const std::vector<std::vector<std::wstring>> commands = {
        {L"info"}, {L"play", L"--null"}, {L"graph"}, {L"trace", L"-o", trace}, {L"batch", L"--commands", L"info,play"}};
    for (const auto& row : rows) {
        for (std::vector<std::wstring> words : commands) {
            if (words[0] == L"info" && !row.infoFails)
                continue;
            words.push_back(L"--json");
            words.insert(words.end(), row.words.begin(), row.words.end());
            const HostRun run = RunHost(words, row.program);
            SCOPED_TRACE(Utf8(words[0]) + ": " + run.out + run.err);
            const Json error = Json::parse(run.out.substr(0, run.out.find('\n')), nullptr, false)["error"];
            EXPECT_NE(std::string::npos, error.value("advice", "").find(row.advice)) << row.advice;
            EXPECT_NE(std::string::npos, error.value("text", "").find(row.advice));
        }
    }
}

}  // namespace
