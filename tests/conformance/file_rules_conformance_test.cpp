// Windows' rules for files held by other programs: share modes (also across processes), refused
// replaces, read-only files, names without case, MAX_PATH, and the arguments file and crypt32 calls
// refuse. Files go in a fresh temporary directory. A departure of Wine is named there, and the sim
// is held to Windows' behaviour.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <random>
#include <string>
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

#define SKIP_WHERE_WINE_DEPARTS(departure, differs) \
  if ((departure) && (differs) && conformance::runningUnderWine()) GTEST_SKIP() << "Wine departs from Windows: " << (departure)

// Wine leaves the read-only attribute to host permissions: root writes such files (another user
// cannot), and a rename over one never consults them.
constexpr const char* kWineAsRoot = "run as root it writes read-only files";
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr DWORD kReadWrite = GENERIC_READ | GENERIC_WRITE;

HANDLE openFile(const platform::WideString& name, DWORD access, DWORD share,
                DWORD disposition = OPEN_EXISTING, DWORD attributes = FILE_ATTRIBUTE_NORMAL) {
  return platform::CreateFileW(name.c_str(), access, share, nullptr, disposition, attributes, nullptr);
}

// The last error of a call that must fail, or 0 when it succeeded.
DWORD failure(bool succeeded) { return succeeded ? 0 : platform::GetLastError(); }
DWORD openFailure(const platform::WideString& name, DWORD access, DWORD share, DWORD disposition = OPEN_EXISTING) {
  return failure(static_cast<bool>(Handle(openFile(name, access, share, disposition))));
}

// A fresh directory under the system's temporary directory holding "present" and the read-only
// "Frozen/Record.json"; removed with all it holds.
struct Directory {
  Directory() : path(fs::temp_directory_path() / ("kestrine-file-rules-" + std::to_string(std::random_device{}()))) {
    fs::create_directories(path / "Frozen");
    make("present", "x");
    make("Frozen/Record.json", "frozen", FILE_ATTRIBUTE_READONLY);
  }
  ~Directory() {
    std::error_code ec;
    fs::permissions(path / "Frozen" / "Record.json", fs::perms::owner_write, fs::perm_options::add, ec);
    fs::remove_all(path, ec);
  }
  platform::WideString name(const std::string& file) const { return velmo::utf8ToWide((path / file).u8string()); }
  bool make(const std::string& file, const std::string& content, DWORD attributes = FILE_ATTRIBUTE_NORMAL) const {
    Handle handle(openFile(name(file), GENERIC_WRITE, 0, CREATE_ALWAYS, attributes));
    return handle && conformance::writeAll(handle.get(), content);
  }
  // The content of a small file, read through a handle that shares everything.
  std::string content(const std::string& file) const {
    Handle handle(openFile(name(file), GENERIC_READ, kShareAll));
    char buffer[256];
    DWORD count = 0;
    const bool read = handle && platform::ReadFile(handle.get(), buffer, sizeof buffer, &count, nullptr);
    return read ? std::string(buffer, count) : "(cannot open)";
  }
  BOOL move(const std::string& from, const std::string& to, DWORD flags) const {
    return platform::MoveFileExW(name(from).c_str(), name(to).c_str(), flags);
  }
  const fs::path path;
};

struct SharingRow {
  const char* name;
  DWORD heldAccess, heldShare, access, share, disposition, error;  // error 0: the second handle opens
};

class SharingTest : public ::testing::TestWithParam<SharingRow> {};

// A refused open changes nothing: CREATE_ALWAYS against a held file does not truncate it.
TEST_P(SharingTest, SecondHandleMeetsTheFirstHandlesShareMode) {
  const SharingRow& row = GetParam();
  const Directory directory;
  Handle held(openFile(directory.name("present"), row.heldAccess, row.heldShare));
  ASSERT_TRUE(held);
  EXPECT_EQ(openFailure(directory.name("present"), row.access, row.share, row.disposition), row.error);
  held.reset();
  EXPECT_EQ(directory.content("present"), row.error || row.disposition != CREATE_ALWAYS ? "x" : "");
}

INSTANTIATE_TEST_SUITE_P(Rows, SharingTest, ::testing::Values(
        SharingRow{"ReaderThatSharesNothing", GENERIC_READ, 0, GENERIC_READ, kShareAll, OPEN_EXISTING, ERROR_SHARING_VIOLATION},
        SharingRow{"ReadersThatShareReading", GENERIC_READ, FILE_SHARE_READ, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 0},
        SharingRow{"WriterNotSharedByReader", GENERIC_READ, FILE_SHARE_READ, kReadWrite, kShareAll, OPEN_EXISTING, ERROR_SHARING_VIOLATION},
        SharingRow{"ReaderNotSharingTheWriter", GENERIC_WRITE, kShareAll, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, ERROR_SHARING_VIOLATION},
        SharingRow{"AttributesOnlyHandleHoldsNothing", 0, 0, kReadWrite, 0, OPEN_EXISTING, 0},
        SharingRow{"CreateAlwaysOnAHeldFile", GENERIC_READ, FILE_SHARE_READ, GENERIC_WRITE, kShareAll, CREATE_ALWAYS, ERROR_SHARING_VIOLATION},
        SharingRow{"CreateAlwaysOnASharedFile", GENERIC_READ, kShareAll, GENERIC_WRITE, kShareAll, CREATE_ALWAYS, 0}),
    [](const auto& info) { return std::string(info.param.name); });

// Another process holds the record open without sharing: the open is refused until that process
// has ended, and its handle does not outlive it.
TEST(FileRulesConformance, HandleOfAnotherProcessHoldsUntilItEnds) {
  const Directory directory;
  platform::WideString command = velmo::utf8ToWide("\"" + conformance::selfPath + "\" \"--conformance-hold=" +
                                                   (directory.path / "present").u8string() + "\"");
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION child{};
  ASSERT_TRUE(platform::CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                                       nullptr, &startup, &child));
  // The child holds the file once its open is done: poll for that, within a limit.
  DWORD error = 0;
  for (const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
       (error = openFailure(directory.name("present"), GENERIC_READ, kShareAll)) == 0 && std::chrono::steady_clock::now() < deadline;)
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  EXPECT_EQ(error, ERROR_SHARING_VIOLATION);
  EXPECT_NE(platform::TerminateProcess(child.hProcess, 9), FALSE);
  EXPECT_EQ(platform::WaitForSingleObject(child.hProcess, 60000), WAIT_OBJECT_0);
  EXPECT_EQ(directory.content("present"), "x");
  platform::CloseHandle(child.hThread);
  platform::CloseHandle(child.hProcess);
}

struct ReplaceRow {
  const char *name, *target;
  DWORD targetShare, sourceShare, error;  // a share mode kShareAll: the file is not held
  const char* wineDeparture;              // null: Wine behaves as Windows
};

class ReplaceTest : public ::testing::TestWithParam<ReplaceRow> {};

// A refused replace leaves both files as they were. An open target is not replaced even when it
// shares delete access: its name stays taken until the last handle is closed.
TEST_P(ReplaceTest, ReplaceByRenameRespectsTheFilesState) {
  const ReplaceRow& row = GetParam();
  const Directory directory;
  ASSERT_TRUE(directory.make("record.tmp", "new"));
  const std::string before = directory.content(row.target);
  const auto hold = [&](const std::string& file, DWORD share) { return share == kShareAll ? INVALID_HANDLE_VALUE : openFile(directory.name(file), GENERIC_READ, share); };
  Handle target(hold(row.target, row.targetShare)), source(hold("record.tmp", row.sourceShare));
  const DWORD error = failure(directory.move("record.tmp", row.target, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH));
  target.reset();
  source.reset();
  SKIP_WHERE_WINE_DEPARTS(row.wineDeparture, error != row.error);
  EXPECT_EQ(error, row.error);
  EXPECT_EQ(directory.content(row.target), row.error ? before : "new");
  EXPECT_EQ(directory.content("record.tmp"), row.error ? "new" : "(cannot open)");
}

INSTANTIATE_TEST_SUITE_P(Rows, ReplaceTest, ::testing::Values(ReplaceRow{"PlainTarget", "present", kShareAll, kShareAll, 0, nullptr},
                      ReplaceRow{"TargetInOtherCase", "PRESENT", kShareAll, kShareAll, 0, nullptr},
                      ReplaceRow{"TargetOpenSharingDelete", "present", FILE_SHARE_READ | FILE_SHARE_DELETE, kShareAll, ERROR_ACCESS_DENIED, nullptr},
                      ReplaceRow{"TargetOpenWithoutDeleteSharing", "present", FILE_SHARE_READ, kShareAll, ERROR_ACCESS_DENIED, nullptr},
                      ReplaceRow{"ReadOnlyTarget", "Frozen/Record.json", kShareAll, kShareAll, ERROR_ACCESS_DENIED, "it replaces read-only files"},
                      ReplaceRow{"SourceOpenWithoutDeleteSharing", "present", kShareAll, FILE_SHARE_READ, ERROR_SHARING_VIOLATION, nullptr}),
    [](const auto& info) { return std::string(info.param.name); });

// A call that gives its last error (0: it succeeded), and Wine's departure (null: none).
struct CallRow {
  const char* name;
  DWORD (*call)(const Directory&), error;
  const char* wineDeparture;
};

class CallTest : public ::testing::TestWithParam<CallRow> {};

TEST_P(CallTest, GivesWindowsResult) {
  const Directory directory;
  const DWORD error = GetParam().call(directory);
  SKIP_WHERE_WINE_DEPARTS(GetParam().wineDeparture, error != GetParam().error);
  EXPECT_EQ(error, GetParam().error);
}

// A name whose full path has MAX_PATH characters, one more than Windows takes without "\\?\".
std::string longName(const Directory& d) { return std::string(MAX_PATH - d.name("").size(), 'n'); }
// An opus attribute that names the program "x", as DER.
const BYTE kOpus[] = {0x30, 0x06, 0xA0, 0x04, 0x80, 0x02, 0x00, 0x78};
DWORD decodeFailure(DWORD encoding, DWORD flags) {
  alignas(8) BYTE buffer[256];  // room for the decoded structure and what it points to
  DWORD size = sizeof buffer;
  return failure(platform::CryptDecodeObject(encoding, SPC_SP_OPUS_INFO_OBJID, kOpus, sizeof kOpus, flags, buffer, &size));
}
constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

INSTANTIATE_TEST_SUITE_P(Rows, CallTest, ::testing::Values(
        CallRow{"ReadOnlyOpenedForWriting", [](const Directory& d) { return openFailure(d.name("Frozen/Record.json"), GENERIC_WRITE, kShareAll, OPEN_ALWAYS); }, ERROR_ACCESS_DENIED, kWineAsRoot},
        CallRow{"NameInOtherCase", [](const Directory& d) { return openFailure(d.name("FROZEN/record.JSON"), GENERIC_READ, 0); }, 0, nullptr},
        CallRow{"NewNameInOtherCase", [](const Directory& d) { return openFailure(d.name("frozen/RECORD.json"), GENERIC_WRITE, 0, CREATE_NEW); }, ERROR_FILE_EXISTS, nullptr},
        CallRow{"MoveOfAMissingFile", [](const Directory& d) { return failure(d.move("absent", "present", MOVEFILE_REPLACE_EXISTING)); }, ERROR_FILE_NOT_FOUND, nullptr},
        CallRow{"MoveOntoNameInOtherCase", [](const Directory& d) { return failure(d.move("PRESENT", "frozen/record.json", 0)); }, ERROR_ALREADY_EXISTS, nullptr},
        CallRow{"LongPathCreated", [](const Directory& d) { return openFailure(d.name(longName(d)), GENERIC_WRITE, 0, CREATE_ALWAYS); }, ERROR_PATH_NOT_FOUND, "it takes full paths of any length"},
        CallRow{"LongPathMovedTo", [](const Directory& d) { return failure(d.move("present", longName(d), 0)); }, ERROR_PATH_NOT_FOUND, "it takes full paths of any length"},
        CallRow{"LongPathInLongForm", [](const Directory& d) { return openFailure(conformance::widen("\\\\?\\") + d.name(longName(d)), GENERIC_WRITE, 0, CREATE_ALWAYS); }, 0, nullptr},
        CallRow{"ShareModeBeyondDelete", [](const Directory& d) { return openFailure(d.name("present"), GENERIC_READ, 8); }, ERROR_INVALID_PARAMETER, "it ignores unknown share mode bits"},
        CallRow{"NoDisposition", [](const Directory& d) { return openFailure(d.name("present"), GENERIC_READ, 0, 0); }, ERROR_INVALID_PARAMETER, nullptr},
        CallRow{"TruncateWithoutWriteAccess", [](const Directory& d) { return openFailure(d.name("present"), GENERIC_READ, 0, TRUNCATE_EXISTING); }, ERROR_INVALID_PARAMETER, "it opens TRUNCATE_EXISTING without write access"},
        CallRow{"LockWithReservedNotZero", [](const Directory& d) { OVERLAPPED whole{};
                  return failure(platform::LockFileEx(Handle(openFile(d.name("present"), kReadWrite, 0)).get(), LOCKFILE_EXCLUSIVE_LOCK, 1, 1, 0, &whole)); }, ERROR_INVALID_PARAMETER, nullptr},
        CallRow{"MoveCopyingAtNextStart", [](const Directory& d) { return failure(d.move("present", "later", MOVEFILE_COPY_ALLOWED | MOVEFILE_DELAY_UNTIL_REBOOT)); }, ERROR_INVALID_PARAMETER, "it accepts a copy at the next start"},
        CallRow{"QueryWithReservedFlags", [](const Directory&) {
                  return failure(platform::CryptQueryObject(CERT_QUERY_OBJECT_FILE, velmo::utf8ToWide(conformance::selfPath).c_str(),
                                                            CERT_QUERY_CONTENT_FLAG_PKCS7_SIGNED_EMBED, CERT_QUERY_FORMAT_FLAG_BINARY, 1,
                                                            nullptr, nullptr, nullptr, nullptr, nullptr, nullptr)); },
                static_cast<DWORD>(E_INVALIDARG), "it ignores the reserved flags"},
        CallRow{"DecodeWithAllocationFlag", [](const Directory&) { return decodeFailure(kEncoding, 0x8000); }, static_cast<DWORD>(E_INVALIDARG), "it accepts CRYPT_DECODE_ALLOC_FLAG"},
        CallRow{"DecodeWithUnknownFlag", [](const Directory&) { return decodeFailure(kEncoding, 0x100); }, static_cast<DWORD>(E_INVALIDARG), "it ignores unknown decoding flags"},
        CallRow{"DecodeWithoutX509Encoding", [](const Directory&) { return decodeFailure(PKCS_7_ASN_ENCODING, 0); }, ERROR_FILE_NOT_FOUND, nullptr}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
