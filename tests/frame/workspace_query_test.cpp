// The per-thread memory of workspace answers: a call must get the answer for
// its own sizes and job, whatever other sizes the thread asked about before,
// and a failed query must be asked again rather than remembered.
#include <gtest/gtest.h>

#include <array>

#include "frame/workspace.hpp"

namespace {

using Answers = tarnx::QueryAnswers<3, std::array<int, 2>>;

// A core whose answer is a known function of the key, counting its queries.
struct FakeCore {
  int queries = 0;
  int fail_next = 0;
  static std::array<int, 2> answer_for(const Answers::Key& k) {
    return {static_cast<int>(100 * k[0] + 10 * k[1] + k[2]), static_cast<int>(k[0] + k[1])};
  }
  int ask(Answers& answers, const Answers::Key& key, std::array<int, 2>& out) {
    return answers.ask(key, out, [&](std::array<int, 2>& a) {
      ++queries;
      if (fail_next > 0) {
        --fail_next;
        a = {-1, -1};
        return -4;
      }
      a = answer_for(key);
      return 0;
    });
  }
};

TEST(WorkspaceQueries, EveryKeyGetsItsOwnAnswerAcrossEvictions) {
  Answers answers;
  FakeCore core;
  // Keys that differ in one place only (a transposed shape, the job), and
  // more of them than are kept.
  const Answers::Key keys[] = {{3, 9, 0}, {9, 3, 0}, {3, 9, 1}, {4, 4, 0}, {4, 4, 1}, {5, 7, 0}};
  for (int round = 0; round < 3; ++round)
    for (const auto& key : keys) {
      std::array<int, 2> out{};
      ASSERT_EQ(core.ask(answers, key, out), 0);
      EXPECT_EQ(out, FakeCore::answer_for(key)) << key[0] << " " << key[1] << " " << key[2];
    }
  // A loop at one size asks once.
  const int before = core.queries;
  std::array<int, 2> out{};
  for (int i = 0; i < 10; ++i) ASSERT_EQ(core.ask(answers, {8, 8, 1}, out), 0);
  EXPECT_EQ(core.queries, before + 1);
}

TEST(WorkspaceQueries, AFailedQueryIsAskedAgain) {
  Answers answers;
  FakeCore core;
  std::array<int, 2> out{};
  core.fail_next = 1;
  EXPECT_EQ(core.ask(answers, {2, 2, 0}, out), -4);
  EXPECT_EQ(core.ask(answers, {2, 2, 0}, out), 0);
  EXPECT_EQ(out, FakeCore::answer_for({2, 2, 0}));
  EXPECT_EQ(core.queries, 2);
}

}  // namespace
