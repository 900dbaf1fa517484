// Windows' rules for regular files that the peer's store meets when another program holds its
// records: share modes (also against another process), replace-by-rename refusals, names without
// case, the MAX_PATH limit, and the arguments the file and crypt32 calls refuse. Every file is made
// in a fresh temporary directory. Where Wine departs from Windows the check says so and asserts
// Windows' behaviour on the sim only.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <random>
#include <string>
#include <system_error>
#include <thread>

#include "common/text_conversion.h"
#include "platform/errors.h"
#include "platform/loader.h"
#include "platform/pipes_files.h"
#include "platform/processes.h"
#include "platform/trust.h"
#include "tests/conformance/conformance_self.h"
#include "tests/conformance/pipe_fixture.h"

namespace {

namespace fs = std::filesystem;
using conformance::Handle;

#ifdef _WIN32
constexpr bool kOnSim = false;
#else
constexpr bool kOnSim = true;
#endif

// Ends a check on Wine when it shows a known departure from Windows, naming it; the sim is always
// held to Windows' behaviour.
#define SKIP_WHERE_WINE_DEPARTS(departure, differs)            \
  if (!kOnSim && (departure) != nullptr && (differs))           \
  GTEST_SKIP() << "Wine departs from Windows: " << (departure)

// Wine leaves the read-only attribute to the host's permissions, which root passes by.
constexpr const char* kWineAsRootWritesReadOnly =
    "run as root it writes and replaces read-only files";

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr DWORD kReadWrite = GENERIC_READ | GENERIC_WRITE;

// A fresh directory under the system's temporary directory, removed with all it holds.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    static std::mt19937_64 random{std::random_device{}()};
    path = fs::temp_directory_path() / ("kestrine-file-rules-" + std::to_string(random()));
    fs::create_directories(path);
  }
  ~TemporaryDirectory() {
    std::error_code ec;
    for (fs::recursive_directory_iterator it(path, ec), end; !ec && it != end; it.increment(ec)) {
      fs::permissions(it->path(), fs::perms::owner_write, fs::perm_options::add, ec);
    }
    fs::remove_all(path, ec);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  platform::WideString name(const std::string& file) const {
    return velmo::utf8ToWide((path / file).u8string());
  }

  fs::path path;
};

HANDLE openFile(const platform::WideString& name, DWORD access, DWORD share,
                DWORD disposition = OPEN_EXISTING, DWORD attributes = FILE_ATTRIBUTE_NORMAL) {
  return platform::CreateFileW(name.c_str(), access, share, nullptr, disposition, attributes, nullptr);
}

bool makeFile(const platform::WideString& name, const std::string& content,
              DWORD attributes = FILE_ATTRIBUTE_NORMAL) {
  Handle file(openFile(name, GENERIC_WRITE, 0, CREATE_ALWAYS, attributes));
  return file.valid() && conformance::writeAll(file.get(), content);
}

// The whole content of a file, read through a handle that shares everything.
std::string contentOf(const platform::WideString& name) {
  Handle file(openFile(name, GENERIC_READ, kShareAll));
  if (!file.valid()) {
    return "(cannot open)";
  }
  std::string content;
  char buffer[256];
  DWORD count = 0;
  while (platform::ReadFile(file.get(), buffer, sizeof buffer, &count, nullptr) && count > 0) {
    content.append(buffer, count);
  }
  return content;
}

// The last error of a call that must fail, or 0 when it succeeded.
DWORD failure(bool succeeded) { return succeeded ? 0 : platform::GetLastError(); }

struct SharingRow {
  const char* name;
  DWORD heldAccess, heldShare;
  DWORD access, share, disposition;
  DWORD error;  // 0: the second handle opens
};

class SharingTest : public ::testing::TestWithParam<SharingRow> {};

// A refused open changes nothing: CREATE_ALWAYS against a held file does not truncate it.
TEST_P(SharingTest, SecondHandleMeetsTheFirstHandlesShareMode) {
  const SharingRow& row = GetParam();
  TemporaryDirectory directory;
  const auto name = directory.name("record.json");
  ASSERT_TRUE(makeFile(name, "kept"));
  Handle held(openFile(name, row.heldAccess, row.heldShare));
  ASSERT_TRUE(held.valid());
  Handle second(openFile(name, row.access, row.share, row.disposition));
  EXPECT_EQ(failure(second.valid()), row.error);
  second.reset();
  held.reset();
  EXPECT_EQ(contentOf(name), row.error ? "kept" : row.disposition == CREATE_ALWAYS ? "" : "kept");
}

INSTANTIATE_TEST_SUITE_P(
    Rows, SharingTest,
    ::testing::Values(
        SharingRow{"ReaderThatSharesNothing", GENERIC_READ, 0, GENERIC_READ, kShareAll, OPEN_EXISTING, ERROR_SHARING_VIOLATION},
        SharingRow{"ReadersThatShareReading", GENERIC_READ, FILE_SHARE_READ, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 0},
        SharingRow{"WriterNotSharedByReader", GENERIC_READ, FILE_SHARE_READ, kReadWrite, kShareAll, OPEN_EXISTING, ERROR_SHARING_VIOLATION},
        SharingRow{"ReaderNotSharingTheWriter", GENERIC_WRITE, kShareAll, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, ERROR_SHARING_VIOLATION},
        SharingRow{"WritersThatShareAll", kReadWrite, kShareAll, kReadWrite, kShareAll, OPEN_EXISTING, 0},
        SharingRow{"AttributesOnlyHandleHoldsNothing", 0, 0, kReadWrite, 0, OPEN_EXISTING, 0},
        SharingRow{"CreateAlwaysOnAHeldFile", GENERIC_READ, FILE_SHARE_READ, GENERIC_WRITE, kShareAll, CREATE_ALWAYS, ERROR_SHARING_VIOLATION},
        SharingRow{"CreateAlwaysOnASharedFile", GENERIC_READ, kShareAll, GENERIC_WRITE, kShareAll, CREATE_ALWAYS, 0}),
    [](const auto& info) { return std::string(info.param.name); });

// Another process holds the record open without sharing: the open is refused until that process
// has ended, and its handle does not outlive it.
TEST(FileRulesConformance, HandleOfAnotherProcessHoldsUntilItEnds) {
  TemporaryDirectory directory;
  const auto name = directory.name("held.json");
  ASSERT_TRUE(makeFile(name, "record"));
  platform::WideString command = velmo::utf8ToWide(
      "\"" + conformance::selfPath + "\" \"--conformance-hold=" + (directory.path / "held.json").u8string() + "\"");
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION child{};
  ASSERT_TRUE(platform::CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                                       nullptr, &startup, &child));
  // The child holds the file once its open is done; wait for that, within a limit.
  DWORD error = 0;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while ((error = failure(Handle(openFile(name, GENERIC_READ, kShareAll)).valid())) == 0 &&
         std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  EXPECT_EQ(error, ERROR_SHARING_VIOLATION);
  EXPECT_NE(platform::TerminateProcess(child.hProcess, 9), FALSE);
  EXPECT_EQ(platform::WaitForSingleObject(child.hProcess, 60000), WAIT_OBJECT_0);
  platform::CloseHandle(child.hThread);
  platform::CloseHandle(child.hProcess);
  EXPECT_EQ(contentOf(name), "record");
}

enum class Target { Plain, ReadOnly, OpenSharingAll, OpenWithoutDeleteSharing };

struct ReplaceRow {
  const char* name;
  Target target;
  DWORD sourceShare;  // kShareAll: the source is not held
  DWORD error;
  const char* wineDeparture;  // null: Wine behaves as Windows
};

class ReplaceTest : public ::testing::TestWithParam<ReplaceRow> {};

// A refused replace leaves both files as they were. An open target is not replaced even when it
// shares delete access: its name stays taken until the last handle is closed.
TEST_P(ReplaceTest, ReplaceByRenameRespectsTheFilesState) {
  const ReplaceRow& row = GetParam();
  TemporaryDirectory directory;
  const auto source = directory.name("record.json.tmp");
  const auto target = directory.name("record.json");
  ASSERT_TRUE(makeFile(source, "new"));
  ASSERT_TRUE(makeFile(target, "old", row.target == Target::ReadOnly ? FILE_ATTRIBUTE_READONLY
                                                                     : FILE_ATTRIBUTE_NORMAL));
  Handle heldTarget(row.target == Target::OpenSharingAll ? openFile(target, GENERIC_READ, kShareAll)
                    : row.target == Target::OpenWithoutDeleteSharing
                        ? openFile(target, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE)
                        : INVALID_HANDLE_VALUE);
  Handle heldSource(row.sourceShare != kShareAll ? openFile(source, GENERIC_READ, row.sourceShare)
                                                 : INVALID_HANDLE_VALUE);
  const DWORD error = failure(platform::MoveFileExW(source.c_str(), target.c_str(),
                                                   MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH));
  heldTarget.reset();
  heldSource.reset();
  SKIP_WHERE_WINE_DEPARTS(row.wineDeparture, error != row.error);
  EXPECT_EQ(error, row.error);
  EXPECT_EQ(contentOf(target), row.error ? "old" : "new");
  EXPECT_EQ(contentOf(source), row.error ? "new" : "(cannot open)");
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ReplaceTest,
    ::testing::Values(ReplaceRow{"PlainTarget", Target::Plain, kShareAll, 0, nullptr},
                      ReplaceRow{"TargetSharedForDelete", Target::OpenSharingAll, kShareAll, ERROR_ACCESS_DENIED, nullptr},
                      ReplaceRow{"ReadOnlyTarget", Target::ReadOnly, kShareAll, ERROR_ACCESS_DENIED, kWineAsRootWritesReadOnly},
                      ReplaceRow{"TargetHeldWithoutDeleteSharing", Target::OpenWithoutDeleteSharing, kShareAll, ERROR_ACCESS_DENIED, nullptr},
                      ReplaceRow{"SourceHeldWithoutDeleteSharing", Target::Plain, FILE_SHARE_READ, ERROR_SHARING_VIOLATION, nullptr}),
    [](const auto& info) { return std::string(info.param.name); });

// A read-only file opens for reading only.
TEST(FileRulesConformance, ReadOnlyFileRefusesWriting) {
  TemporaryDirectory directory;
  const auto name = directory.name("frozen.json");
  ASSERT_TRUE(makeFile(name, "frozen", FILE_ATTRIBUTE_READONLY));
  for (const DWORD disposition : {OPEN_EXISTING, CREATE_ALWAYS, TRUNCATE_EXISTING}) {
    const DWORD error = failure(Handle(openFile(name, GENERIC_WRITE, kShareAll, disposition)).valid());
    SKIP_WHERE_WINE_DEPARTS(kWineAsRootWritesReadOnly, error != ERROR_ACCESS_DENIED);
    EXPECT_EQ(error, ERROR_ACCESS_DENIED) << disposition;
  }
  EXPECT_EQ(contentOf(name), "frozen");
}

// Names are the same whatever their case, in the file and in the directories on the way.
TEST(FileRulesConformance, NamesCompareWithoutCase) {
  TemporaryDirectory directory;
  fs::create_directories(directory.path / "History");
  ASSERT_TRUE(makeFile(directory.name("History/Record-1.json"), "first"));
  EXPECT_EQ(contentOf(directory.name("HISTORY/record-1.JSON")), "first");
  EXPECT_EQ(failure(Handle(openFile(directory.name("history/RECORD-1.json"), GENERIC_WRITE, 0, CREATE_NEW)).valid()),
            ERROR_FILE_EXISTS);
  ASSERT_TRUE(makeFile(directory.name("history/next.tmp"), "second"));
  EXPECT_EQ(failure(platform::MoveFileExW(directory.name("HISTORY/NEXT.TMP").c_str(),
                                          directory.name("history/record-1.json").c_str(), 0)),
            ERROR_ALREADY_EXISTS);
  EXPECT_NE(platform::MoveFileExW(directory.name("HISTORY/NEXT.TMP").c_str(),
                                  directory.name("history/record-1.json").c_str(),
                                  MOVEFILE_REPLACE_EXISTING),
            FALSE);
  EXPECT_EQ(contentOf(directory.name("History/Record-1.json")), "second");
}

// A full path of MAX_PATH characters or more is refused, unless given in the "\\?\" form.
TEST(FileRulesConformance, LongPathNeedsTheLongForm) {
  TemporaryDirectory directory;
  const platform::WideString base = directory.name("");
  const std::string longName(MAX_PATH - base.size(), 'n');
  const platform::WideString name = directory.name(longName);
  ASSERT_GE(name.size(), static_cast<std::size_t>(MAX_PATH));
  Handle file(openFile(name, GENERIC_WRITE, 0, CREATE_ALWAYS));
  SKIP_WHERE_WINE_DEPARTS("it opens full paths of any length", file.valid());
  EXPECT_EQ(failure(file.valid()), ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(failure(platform::MoveFileExW(directory.name("missing").c_str(), name.c_str(), 0)),
            ERROR_PATH_NOT_FOUND);
  const platform::WideString longForm = conformance::widen("\\\\?\\") + name;
  EXPECT_TRUE(Handle(openFile(longForm, GENERIC_WRITE, 0, CREATE_ALWAYS)).valid());
}

struct ArgumentRow {
  const char* name;
  bool (*call)(const TemporaryDirectory&);
  DWORD error;
  const char* wineDeparture;  // null: Wine refuses the argument as Windows does
};

class ArgumentTest : public ::testing::TestWithParam<ArgumentRow> {};

TEST_P(ArgumentTest, RefusedWithWindowsCode) {
  TemporaryDirectory directory;
  ASSERT_TRUE(makeFile(directory.name("present"), "x"));
  const DWORD error = failure(GetParam().call(directory));
  SKIP_WHERE_WINE_DEPARTS(GetParam().wineDeparture, error != GetParam().error);
  EXPECT_EQ(error, GetParam().error);
}

bool openWithShareMode8(const TemporaryDirectory& d) {
  return Handle(openFile(d.name("present"), GENERIC_READ, 8)).valid();
}
bool openWithDisposition0(const TemporaryDirectory& d) {
  return Handle(openFile(d.name("present"), GENERIC_READ, 0, 0)).valid();
}
bool truncateWithoutWriteAccess(const TemporaryDirectory& d) {
  return Handle(openFile(d.name("present"), GENERIC_READ, 0, TRUNCATE_EXISTING)).valid();
}
bool lockWithReserved(const TemporaryDirectory& d) {
  Handle file(openFile(d.name("present"), kReadWrite, 0));
  OVERLAPPED whole{};
  return platform::LockFileEx(file.get(), LOCKFILE_EXCLUSIVE_LOCK, 1, 1, 0, &whole);
}
bool moveCopyingAtReboot(const TemporaryDirectory& d) {
  return platform::MoveFileExW(d.name("present").c_str(), d.name("later").c_str(),
                               MOVEFILE_COPY_ALLOWED | MOVEFILE_DELAY_UNTIL_REBOOT);
}
bool queryWithReservedFlags(const TemporaryDirectory& d) {
  const platform::WideString self = velmo::utf8ToWide(conformance::selfPath);
  (void)d;
  return platform::CryptQueryObject(CERT_QUERY_OBJECT_FILE, self.c_str(),
                                    CERT_QUERY_CONTENT_FLAG_PKCS7_SIGNED_EMBED,
                                    CERT_QUERY_FORMAT_FLAG_BINARY, 1, nullptr, nullptr, nullptr,
                                    nullptr, nullptr, nullptr);
}
// An opus attribute that names the program "x", as DER.
const BYTE kOpus[] = {0x30, 0x06, 0xA0, 0x04, 0x80, 0x02, 0x00, 0x78};
bool decodeWith(DWORD encoding, DWORD flags) {
  alignas(8) BYTE buffer[256];
  DWORD size = sizeof buffer;
  return platform::CryptDecodeObject(encoding, SPC_SP_OPUS_INFO_OBJID, kOpus, sizeof kOpus, flags,
                                     buffer, &size);
}
bool decodeWithAllocation(const TemporaryDirectory&) {
  return decodeWith(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0x8000);
}
bool decodeWithUnknownFlag(const TemporaryDirectory&) {
  return decodeWith(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0x100);
}
bool decodeWithoutEncoding(const TemporaryDirectory&) { return decodeWith(PKCS_7_ASN_ENCODING, 0); }

INSTANTIATE_TEST_SUITE_P(
    Rows, ArgumentTest,
    ::testing::Values(
        ArgumentRow{"CreateFileShareModeBeyondDelete", openWithShareMode8, ERROR_INVALID_PARAMETER, "it ignores unknown share mode bits"},
        ArgumentRow{"CreateFileNoDisposition", openWithDisposition0, ERROR_INVALID_PARAMETER, nullptr},
        ArgumentRow{"CreateFileTruncateWithoutWrite", truncateWithoutWriteAccess, ERROR_INVALID_PARAMETER, "it opens TRUNCATE_EXISTING without write access"},
        ArgumentRow{"LockFileExReservedNotZero", lockWithReserved, ERROR_INVALID_PARAMETER, nullptr},
        ArgumentRow{"MoveFileExCopyAtReboot", moveCopyingAtReboot, ERROR_INVALID_PARAMETER, "it accepts a copy at the next start"},
        ArgumentRow{"CryptQueryObjectReservedFlags", queryWithReservedFlags, static_cast<DWORD>(E_INVALIDARG), "it ignores the reserved flags"},
        ArgumentRow{"CryptDecodeObjectAllocFlag", decodeWithAllocation, static_cast<DWORD>(E_INVALIDARG), "it accepts CRYPT_DECODE_ALLOC_FLAG"},
        ArgumentRow{"CryptDecodeObjectUnknownFlag", decodeWithUnknownFlag, static_cast<DWORD>(E_INVALIDARG), "it ignores unknown decoding flags"},
        ArgumentRow{"CryptDecodeObjectWithoutX509", decodeWithoutEncoding, ERROR_FILE_NOT_FOUND, nullptr}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
