// ASF: a header object full of objects, one for each stream among them. The kinds of the streams tell sound alone from
// pictures, and recordings of television from both.

#include "metadata/CWalk.h"
#include "metadata/FormatRules.h"
#include "metadata/formats/GuidAt.h"

namespace metadata {

namespace {

constexpr Guid kHeaderObject = {0x75B22630, 0x668E, 0x11CF, {0xA6, 0xD9, 0x00, 0xAA, 0x00, 0x62, 0xCE, 0x6C}};
constexpr Guid kHeaderExtension = {0x5FBF03B5, 0xA92E, 0x11CF, {0x8E, 0xE3, 0x00, 0xC0, 0x0C, 0x20, 0x53, 0x65}};
constexpr Guid kStream = {0xB7DC0791, 0xA9B7, 0x11CF, {0x8E, 0xE6, 0x00, 0xC0, 0x0C, 0x20, 0x53, 0x65}};
constexpr Guid kExtendedStream = {0x14E6A5CB, 0xC672, 0x4332, {0x83, 0x99, 0xA9, 0x69, 0x52, 0x06, 0x5B, 0x5A}};
constexpr Guid kContentDescription = {0xD2D0A440, 0xE307, 0x11D2, {0x97, 0xF0, 0x00, 0xA0, 0xC9, 0x5E, 0xA8, 0x50}};
constexpr Guid kMetadata = {0xC5F8CBEA, 0x5BAF, 0x4877, {0x84, 0x67, 0xAA, 0x8C, 0x44, 0xFA, 0x4C, 0xCA}};
constexpr Guid kMetadataLibrary = {0x44231C94, 0x9498, 0x49D1, {0xA1, 0x41, 0x1D, 0x13, 0x4E, 0x45, 0x70, 0x54}};

// Kinds of streams. A binary stream says by a major type of its own what it carries.
constexpr Guid kAudioStream = {0xF8699E40, 0x5B4D, 0x11CF, {0xA8, 0xFD, 0x00, 0x80, 0x5F, 0x5C, 0x44, 0x2B}};
constexpr Guid kVideoStream = {0xBC19EFC0, 0x5B4D, 0x11CF, {0xA8, 0xFD, 0x00, 0x80, 0x5F, 0x5C, 0x44, 0x2B}};
constexpr Guid kPictureStream = {0xB61BE100, 0x5B4E, 0x11CF, {0xA8, 0xFD, 0x00, 0x80, 0x5F, 0x5C, 0x44, 0x2B}};
constexpr Guid kDegradablePictureStream = {
    0x35907DE0, 0xE415, 0x11CF, {0xA9, 0x17, 0x00, 0x80, 0x5F, 0x5C, 0x44, 0x2B}};
constexpr Guid kBinaryStream = {0x3AFB65E2, 0x47EF, 0x40F2, {0xAC, 0x2C, 0x70, 0xA9, 0x0D, 0x71, 0xD3, 0x43}};
constexpr Guid kRecordedAudio = {0x31178C9D, 0x03E1, 0x4528, {0xB5, 0x82, 0x3D, 0xF9, 0xDB, 0x22, 0xF5, 0x03}};

constexpr std::uint64_t kObjectHeader = 24;
constexpr std::uint64_t kFileHeader = 30;
constexpr int kMostObjects = 1000;

// What the header tells, as far as it was read.
struct Streams {
    bool hasVideo = false;
    bool hasAudio = false;
    bool isRecording = false;
    bool areAll = false;
    Evidence evidence{0, kFileHeader};
};

void TakeStream(CWalk& walk, std::uint64_t object, Streams& streams) {
    constexpr std::uint64_t kKind = kObjectHeader;
    constexpr std::uint64_t kMajorType = 78;  // the first field whose meaning depends on the kind
    // Behind the pictures' size, 11 bytes, and 16 bytes of a BITMAPINFOHEADER.
    constexpr std::uint64_t kCompression = 105;
    const CBytes bytes = walk.At(object, kCompression + 4);
    if (!bytes.Has(0, kCompression + 4))  // every stream object has that many, with what follows it
        return;
    const Guid kind = GuidAt(bytes, kKind);
    if (!streams.hasVideo)
        streams.evidence = {object, kCompression};
    if (kind == kVideoStream || kind == kPictureStream || kind == kDegradablePictureStream) {
        streams.hasVideo = true;
        streams.isRecording = streams.isRecording || (kind == kVideoStream && bytes.Is(kCompression, "DVR "));
    } else if (kind == kAudioStream) {
        streams.hasAudio = true;
    } else if (kind == kBinaryStream && GuidAt(bytes, kMajorType) == kRecordedAudio) {
        streams.isRecording = true;
    }
}

// The stream object that may stand inside an extended one, behind any number of names and descriptions. The extended
// one ends at `end`.
void TakeExtendedStream(CWalk& walk, std::uint64_t object, std::uint64_t end, Streams& streams) {
    constexpr std::uint64_t kNameCount = 84;
    constexpr std::uint64_t kExtensionCount = 86;
    constexpr std::uint64_t kFirstName = 88;
    const CBytes fixed = walk.At(object, kFirstName);
    const int names = fixed.Le16(kNameCount);
    const int extensions = fixed.Le16(kExtensionCount);
    std::uint64_t position = object + kFirstName;
    CBytes entry = fixed;
    for (int i = 0; i < names && position < end && entry.Size() > 0; ++i) {  // language, length, text
        entry = walk.At(position, 4);
        position += 4 + std::uint64_t{entry.Le16(2)};
    }
    for (int i = 0; i < extensions && position < end && entry.Size() > 0; ++i) {  // identifier, size, length, text
        entry = walk.At(position, 22);
        position += 22 + std::uint64_t{entry.Le32(18)};
    }
    if (position < end && GuidAt(walk.At(position, kObjectHeader), 0) == kStream)
        TakeStream(walk, position, streams);
}

// Whether an object has the attribute in which the platform's recorder keeps the version of its files. The object ends
// at `end`. The two sorts of objects order an attribute's parts differently.
bool HasRecorderAttribute(CWalk& walk, std::uint64_t object, std::uint64_t end, bool isDescription) {
    constexpr char kName[] = "D\0V\0R\0 \0F\0i\0l\0e\0 \0V\0e\0r\0s\0i\0o\0n";
    constexpr std::uint64_t kFirst = kObjectHeader + 2;
    const int count = walk.At(object, kFirst).Le16(kObjectHeader);
    std::uint64_t position = object + kFirst;
    for (int i = 0; i < count && position < end; ++i) {
        const CBytes fixed = walk.At(position, 12);
        if (fixed.Size() == 0)
            break;
        const std::uint64_t nameLength = isDescription ? fixed.Le16(0) : fixed.Le16(4);
        const std::uint32_t longLength = fixed.Le32(8);
        const std::uint64_t name = position + (isDescription ? 2 : 12);
        if (nameLength >= sizeof(kName) && walk.At(name, sizeof(kName)).Is(0, kName))
            return true;
        position = name + nameLength;
        position += isDescription ? 4 + std::uint64_t{walk.At(position, 4).Le16(2)} : longLength;
    }
    return false;
}

Streams FindStreams(CWalk& walk, std::uint64_t headerLength) {
    constexpr std::uint64_t kExtensionHeader = 46;
    Streams streams;
    std::uint64_t position = kFileHeader;
    for (int i = 0; i < kMostObjects && !streams.isRecording; ++i) {
        streams.areAll = position >= headerLength;
        const CBytes object = walk.At(position, kObjectHeader);
        const std::uint64_t length = object.Le64(16);
        if (streams.areAll || length < kObjectHeader || length > headerLength)
            break;
        const Guid name = GuidAt(object, 0);
        if (name == kStream)
            TakeStream(walk, position, streams);
        else if (name == kExtendedStream)
            TakeExtendedStream(walk, position, position + length, streams);
        else if (name == kContentDescription || name == kMetadata || name == kMetadataLibrary)
            streams.isRecording = HasRecorderAttribute(walk, position, position + length, name == kContentDescription);
        // The extension's objects are gone through as if they stood beside it.
        position += name == kHeaderExtension ? kExtensionHeader : length;
    }
    return streams;
}

}  // namespace

Verdict JudgeAsf(CContent& content) {
    const CBytes head = content.Head();
    if (GuidAt(head, 0) != kHeaderObject)
        return NotThere();
    const std::uint64_t length = head.Le64(16);
    constexpr std::uint64_t kReserved = 28;
    if (length < kFileHeader || !head.Is(kReserved, "\x01\x02"))
        return RuledOut(L"the header object is not sane", {0, kFileHeader});
    const std::uint64_t firstLength = head.Le64(kFileHeader + 16);
    if (head.Has(kFileHeader, kObjectHeader) && (firstLength < kObjectHeader || firstLength > length))
        return RuledOut(L"the first object in the header is not sane", {kFileHeader, kObjectHeader});
    // Cover pictures of any size stand between the streams: they are stepped over.
    CWalk walk(content, CWalk::Kind::Boxes);
    const Streams streams = FindStreams(walk, length);
    constexpr const wchar_t* kAny = L"video/x-ms-asf";
    if (streams.isRecording)
        return Found(L"video/x-ms-dvr", kAny, L"ASF recorded from television", streams.evidence);
    if (streams.hasVideo)
        return Found(L"video/x-ms-wmv", kAny, L"ASF with a video stream", streams.evidence);
    if (streams.hasAudio && streams.areAll)
        return Found(L"audio/x-ms-wma", kAny, L"ASF with audio streams only", streams.evidence);
    return Found(kAny, nullptr, L"ASF whose streams are not to be seen", streams.evidence);
}

}  // namespace metadata
