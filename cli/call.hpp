#pragma once
// One call of an export, driven by its entry in the export table: the
// arguments are parsed by kind, scratch and output handles are made through
// the host runtime, and every output is read back afterwards.
#include <string>
#include <utility>
#include <vector>

#include "cli/values.hpp"
#include "tools/export_table.hpp"

namespace tarnx::cli {

// The library as a host loads it.
struct Library {
  std::string path;
  void* module = nullptr;
};

// --lib, else $TARNX_LIB, else the build tree's lib/ beside our bin/.
std::string library_path(const std::string& option);
// Throws Bad when the library cannot be loaded.
Library load_library(const std::string& path);

// The table entry for a name; throws Bad with a hint for an unknown one.
const ExportInfo& lookup_export(const std::string& name);

struct Format {
  int digits = 0;            // 0: shortest text that reads back exactly
  std::string indent;        // before every line
};

// Where -o sends outputs: an output name (or empty: the next array output)
// and a file.
using OutputFiles = std::vector<std::pair<std::string, std::string>>;

inline bool is_input(arg::Role r) {
  return r == arg::Role::In || r == arg::Role::InOut || r == arg::Role::Value || r == arg::Role::Ref ||
         r == arg::Role::Update;
}
// Workspace handles the command line makes empty for you, or null on request.
inline bool is_scratch(arg::Role r) { return r == arg::Role::Scratch || r == arg::Role::PathScratch; }
inline bool is_output(arg::Role r) {
  return r == arg::Role::Out || r == arg::Role::InOut || r == arg::Role::Result || r == arg::Role::Update;
}

class Call {
 public:
  Call(const ExportInfo& info, void* function);
  ~Call();
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  // Fills the arguments from the command line: inputs in order, or any
  // argument as NAME=VALUE (for a scalar result, the value it holds going
  // in). Throws Bad naming the argument and what is wrong with it.
  void bind(const std::vector<std::string>& words, TextStore& store, bool* stdin_used);
  // Checks the -o requests against the outputs; throws Bad.
  void route_outputs(const OutputFiles& files);

  int32_t run();

  // The inputs as bound (for showing what goes in), and the outputs as the
  // library left them.
  std::string show_inputs(const Format& f, const std::vector<std::string>& hidden = {}) const;
  std::string show_outputs(const Format& f) const;

  const ExportInfo& info() const { return info_; }
  // The scratch arguments given as NAME=null.
  const std::vector<std::string>& null_scratch() const { return null_scratch_; }

 private:
  struct Arg {
    ZwArrayHandle handle = nullptr;
    ArgSlot value{};  // scalar storage for Value, Ref, Result and Update
    std::string file;
  };
  View view(std::size_t i) const;
  std::string show(std::size_t i, const Format& f) const;
  ZwArrayHandle make_handle(std::size_t bytes);

  const ExportInfo& info_;
  void* function_;
  std::vector<Arg> args_;
  std::vector<ZwArrayHandle> owned_;
  std::vector<std::string> null_scratch_;
};

// "status -20041: matrix singular"; a -20999 with null scratch handles names them.
std::string status_line(int32_t status, const std::vector<std::string>& null_scratch = {});

}  // namespace tarnx::cli
