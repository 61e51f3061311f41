#pragma once
// The few operating-system services the command-line host needs: finding
// its own directory, loading the library as a host does, and reading files.
// Everything that touches the loader lives behind this interface.
#include <string>

namespace tarnx::cli::os {

// The directory holding the running executable, without a trailing slash.
std::string executable_dir();

// Where a fresh build puts the library, relative to executable_dir().
extern const char* const kDefaultLibrary;
// The file name the library loads its numerical core from.
extern const char* const kCoreFile;

// Loads the library as a host does; null and a reason on failure.
void* open_library(const std::string& path, std::string* error);
void* find_symbol(void* library, const char* name);

// The full path of a loaded module (a dlopen handle), or empty.
std::string module_path(void* module);
// The version an object records in its "TARNX" version note, or empty.
std::string version_note(void* module);
// The full path of an already loaded object whose file name is `file_name`,
// or empty; nothing is loaded.
std::string loaded_object_path(const std::string& file_name);
// A symbol of the loaded object at `path` or of its dependencies, and the
// path of the object that defines it; null and empty when absent. Nothing is
// loaded.
void* symbol_in_loaded(const std::string& path, const char* name, std::string* defined_in);

// The value of an environment variable, or empty.
std::string env(const char* name);

// The whole content of a file or of standard input; false and a reason when
// it cannot be read.
bool read_file(const std::string& path, std::string* content, std::string* error);
bool read_stdin(std::string* content, std::string* error);

}  // namespace tarnx::cli::os
