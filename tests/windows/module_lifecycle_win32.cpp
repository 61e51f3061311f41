// Loading and unloading the Windows DLL, each in a fresh process started with
// an environment of its own: where the numerical core is looked for (beside
// the library, under either registry key, nowhere), what happens to the
// OpenMP duplicate-runtime variable, and the core's per-thread release when a
// thread ends.
#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "support/process.hpp"
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

const fs::path kBuilt = TARNX_LIB_DIR;
// A main program that exports the host functions itself, as the host does.
const fs::path kProbe = TARNX_HOST_PROBE;
const fs::path kCountingCore = TARNX_COUNTING_CORE;

const wchar_t* const kKipsetKey = L"SOFTWARE\\Velmora\\Zanwell\\Kipset Package\\Tarnex";
const wchar_t* const kAddOnsKey = L"SOFTWARE\\Velmora\\Zanwell\\14.0\\AddOns\\Tarnex";
const wchar_t* const kVendorKey = L"SOFTWARE\\Velmora";

// The OpenMP runtime and what it needs, as the build lays them out.
const char* const kRuntimeFiles[] = {"libiomp5md.dll", "libgcc_s_seh-1.dll", "libwinpthread-1.dll"};

// A program run with `set` added to this process's environment and the
// OpenMP variable taken out unless `set` names it.
test::ProcessResult run(const std::wstring& command_line, const std::map<std::wstring, std::wstring>& set) {
  std::wstring block;
  wchar_t* env = GetEnvironmentStringsW();
  for (const wchar_t* p = env; *p != 0; p += wcslen(p) + 1) {
    const std::wstring entry = p;
    const std::wstring name = entry.substr(0, entry.find(L'=', 1));
    if (_wcsicmp(name.c_str(), L"KMP_DUPLICATE_LIB_OK") == 0 || set.count(name) != 0) continue;
    block += entry + L'\0';
  }
  FreeEnvironmentStringsW(env);
  for (const auto& [name, value] : set) block += name + L"=" + value + L'\0';
  block += L'\0';

  SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
  HANDLE read_end = nullptr, write_end = nullptr;
  EXPECT_TRUE(CreatePipe(&read_end, &write_end, &inherit, 0));
  SetHandleInformation(read_end, HANDLE_FLAG_INHERIT, 0);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = write_end;
  startup.hStdError = write_end;
  startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
  PROCESS_INFORMATION process{};
  std::wstring line = command_line;
  test::ProcessResult r;
  const BOOL started = CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_UNICODE_ENVIRONMENT,
                                      block.data(), nullptr, &startup, &process);
  CloseHandle(write_end);
  EXPECT_TRUE(started) << GetLastError();
  if (started) {
    char buffer[4096];
    DWORD n = 0;
    while (ReadFile(read_end, buffer, sizeof buffer, &n, nullptr) && n > 0)
      for (DWORD i = 0; i < n; ++i)
        if (buffer[i] != '\r') r.output.push_back(buffer[i]);
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD code = 0;
    GetExitCodeProcess(process.hProcess, &code);
    r.exit_code = static_cast<int>(code);
    CloseHandle(process.hProcess);
    CloseHandle(process.hThread);
  }
  CloseHandle(read_end);
  return r;
}

std::wstring quoted(const fs::path& p) { return L"\"" + p.wstring() + L"\""; }

void set_registry(const wchar_t* key, const fs::path& dir) {
  HKEY opened = nullptr;
  ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, key, 0, nullptr, 0, KEY_WRITE, nullptr, &opened, nullptr),
            ERROR_SUCCESS);
  const std::wstring value = dir.wstring();
  RegSetValueExW(opened, L"RunTimeDIR64", 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                 static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
  RegCloseKey(opened);
}

class ModuleLifecycle : public ::testing::Test {
 protected:
  fs::path root;

  void SetUp() override {
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, kVendorKey);
    // A parameterized test's name holds a slash; the folder is one level all the same.
    std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    std::replace(name.begin(), name.end(), '/', '_');
    root = fs::temp_directory_path() / ("tarnx_load_" + std::to_string(GetCurrentProcessId()) + "_" + name);
    fs::remove_all(root);
    fs::create_directories(root);
  }
  void TearDown() override {
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, kVendorKey);
    std::error_code ignored;
    fs::remove_all(root, ignored);
  }

  // A directory holding a core (the built one unless another is named) and
  // the OpenMP runtime beside it.
  fs::path core_dir(const fs::path& dir, const fs::path& core = kBuilt / "tarnx_core_140000.dll") {
    fs::create_directories(dir);
    fs::copy_file(core, dir / "tarnx_core_140000.dll");
    for (const char* f : kRuntimeFiles) fs::copy_file(kBuilt / f, dir / f);
    return dir;
  }
  // A copy of the library alone in a directory, so the sibling search finds no core.
  fs::path lone_library() {
    fs::create_directories(root / "lib");
    fs::copy_file(kBuilt / "TARNX_LINALG.dll", root / "lib" / "TARNX_LINALG.dll");
    return root / "lib" / "TARNX_LINALG.dll";
  }
  test::ProcessResult probe(const char* mode, const fs::path& lib,
                            const std::map<std::wstring, std::wstring>& env = {}) {
    std::wstring wmode(mode, mode + strlen(mode));
    return run(quoted(kProbe) + L" " + wmode + L" " + quoted(lib), env);
  }
};

TEST_F(ModuleLifecycle, CoreBesideTheLibraryNeedsNoConfiguration) {
  auto r = probe("load", kBuilt / "TARNX_LINALG.dll");
  EXPECT_EQ(r.values()["status"], "0") << r.output;
  EXPECT_EQ(r.values()["c00"], "4") << r.output;
}

// One registry value as a search meets it: the key that holds it, the folder
// it names under the test's root, the version folder inside, whether a core
// lies there, and whether the value ends in a backslash.
struct RegistryValue {
  const wchar_t* key;
  const char* folder;
  const char* version;
  bool core;
  bool trailing_backslash;
};
struct RegistryCase {
  const char* name;
  std::vector<RegistryValue> values;
};

// Each finds the core through the registry.
const RegistryCase kRegistryCases[] = {
    {"FirstRegistryValueWithItsVersionFolder", {{kKipsetKey, "kipset", "14.0.1", true, false}}},
    {"SecondRegistryValueWhenTheFirstHoldsNoCore",
     {{kKipsetKey, "empty", "14.0.1", false, false}, {kAddOnsKey, "addons", "14.0.0", true, true}}},
    {"SecondRegistryValueAlone", {{kAddOnsKey, "addons", "14.0.0", true, false}}},
};

class RegistrySearch : public ModuleLifecycle, public ::testing::WithParamInterface<RegistryCase> {};

TEST_P(RegistrySearch, FindsTheCore) {
  for (const RegistryValue& v : GetParam().values) {
    const fs::path dir = root / v.folder;
    if (v.core) core_dir(dir / v.version);
    else fs::create_directories(dir / v.version);
    set_registry(v.key, v.trailing_backslash ? fs::path(dir.wstring() + L"\\") : dir);
  }
  auto r = probe("load", lone_library());
  EXPECT_EQ(r.values()["status"], "0") << r.output;
}
INSTANTIATE_TEST_SUITE_P(ModuleLifecycle, RegistrySearch, ::testing::ValuesIn(kRegistryCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(ModuleLifecycle, NoCoreAnywhereFailsTheLoad) {
  fs::create_directories(root / "empty" / "14.0.1");
  set_registry(kKipsetKey, root / "empty");
  // A core in the folder of the other version is not looked at.
  core_dir(root / "empty" / "14.0.0");
  auto r = probe("load", lone_library());
  auto v = r.values();
  EXPECT_EQ(v["loaded"], "0") << r.output;
  EXPECT_EQ(v["load_error"], std::to_string(ERROR_DLL_INIT_FAILED)) << r.output;
  // The entry point failed before the library changed anything it keeps.
  EXPECT_EQ(v["after"], "TRUE") << r.output;
}

TEST_F(ModuleLifecycle, DuplicateRuntimeVariable) {
  const fs::path lib = kBuilt / "TARNX_LINALG.dll";
  struct Case {
    const wchar_t* value;  // null: unset
    const char* during;
    const char* after;
  };
  for (Case c : {Case{nullptr, "TRUE", "TRUE"},       // unset: set, and kept
                 Case{L"false", "TRUE", "false"},     // taken back at unload
                 Case{L"true", "true", "true"},       // already true in any case
                 Case{L"12345678", "TRUE", "TRUE"}})  // too long to save
  {
    std::map<std::wstring, std::wstring> env;
    if (c.value != nullptr) env[L"KMP_DUPLICATE_LIB_OK"] = c.value;
    auto r = probe("load", lib, env);
    auto v = r.values();
    EXPECT_EQ(v["status"], "0") << r.output;
    EXPECT_EQ(v["during"], c.during) << r.output;
    EXPECT_EQ(v["after"], c.after) << r.output;
  }
}

TEST_F(ModuleLifecycle, EveryThreadEndReleasesTheCoresBuffers) {
  core_dir(root / "counting" / "14.0.1", kCountingCore);
  set_registry(kKipsetKey, root / "counting");
  auto r = probe("threads", lone_library());
  // The three threads of the probe, and any the C run-time ended meanwhile.
  EXPECT_GE(std::stol(r.values()["thread_frees"]), 3) << r.output;
}

}  // namespace
