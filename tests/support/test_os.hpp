#pragma once
// The operating-system services the tests need, one interface for every
// system the suite runs on: loading modules as a host does, thread storage
// keys, fenced pages, and the file names of the build.
#include <cstddef>
#include <cstdint>
#include <string>

namespace test::os {

// The library's file name, the ending of a module's file name, and the name
// of a module that every process has loaded and that is no host runtime.
extern const char* const kLibraryFile;
extern const char* const kModuleSuffix;
extern const char* const kForeignModule;

// Loads a module by path, with its own directory searched for what it needs.
void* open_library(const std::string& path);
// Why the last open_library failed, as the system tells it.
std::string load_error();
// A module already loaded under `name`; never loads it.
void* loaded_library(const char* name);
void* symbol(void* library, const char* name);
void close_library(void* library);

// The value of an environment variable as the process sees it now (changes
// made by a loaded module included); null when it is not set.
const char* env(const char* name);

// Runs a command line through the system's shell; its exit code and what it
// wrote to standard output and standard error together.
int run_command(const std::string& command, std::string* output);
// A word the shell passes on unchanged.
std::string quote(const std::string& word);

// A thread storage key as the host hands it to SetZWRTTLSIndex.
uint32_t new_thread_key();
void set_thread_value(uint32_t key, void* value);
void delete_thread_key(uint32_t key);

// Pages read and written normally, one of which can be made unreachable so
// that a read past a block faults.
std::size_t page_size();
char* allocate_pages(std::size_t count);
bool fence_page(char* page);
void free_pages(char* base, std::size_t count);

}  // namespace test::os
