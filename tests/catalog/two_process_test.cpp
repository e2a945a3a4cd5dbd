#include <stdio.h>
#include <sys/wait.h>

#include "tests/catalog/tag_test_support.h"

namespace {

struct probe {
  int id = 0;
};

// Runs the writer on `catalog` in a process of its own; returns the change id it committed.
int commit_in_other_process(const std::string& catalog, int media_id) {
  const std::string command =
      std::string("'") + CATALOG_TEST_WRITER + "' '" + catalog + "' " + std::to_string(media_id);
  FILE* out = popen(command.c_str(), "r");
  if (out == nullptr) throw std::runtime_error("cannot start " + command);
  std::string text;
  char buffer[64];
  while (fgets(buffer, sizeof buffer, out) != nullptr) text += buffer;
  const int status = pclose(out);
  if (status == -1 || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    throw std::runtime_error("the writer failed: " + text);
  }
  return std::stoi(text);
}

using TwoProcesses = vael_test::tag_catalog;

TEST_F(TwoProcesses, ACommitElsewhereEmptiesTheCachesAtTheNextBeginAndIdsOnlyRise) {
  vael::internal_connection& ic = c_.get();
  const std::string& path = path_;
  const int media = new_media("a.jpg");
  const int ours = ic.change_tracker().current_change_id();
  const auto fill_caches = [&] {
    ic.media_tracker().get_cache("media")->get_or_load<probe>(media, [&] { return probe{media}; });
    ic.tag_tracker().get_cache("tag_base")->get_or_load<probe>(1, [] { return probe{1}; });
    ic.metadata_by_id().get_or_load<probe>(1, [] { return probe{1}; });
  };
  fill_caches();

  const int theirs = commit_in_other_process(path, media);
  EXPECT_GT(theirs, ours);
  EXPECT_EQ(vael_test::media_change_id(ic.database(), media), theirs);
  EXPECT_TRUE(ic.media_tracker().get_cache("media")->contains(media));  // not noticed yet
  EXPECT_FALSE(ic.change_tracker().db_changed());

  vael::transaction t(h());
  t.begin(vael::without_undo, vael::lock_now);
  EXPECT_TRUE(ic.change_tracker().db_changed());
  EXPECT_EQ(ic.change_tracker().current_change_id(), theirs);
  EXPECT_FALSE(ic.media_tracker().get_cache("media")->contains(media));
  EXPECT_EQ(ic.tag_tracker().get_cache("tag_base")->size(), 0u);
  EXPECT_EQ(ic.metadata_by_id().size(), 0u);
  ic.media_tracker().mark_changed(media);
  t.commit();
  const int ours_again = ic.change_tracker().current_change_id();
  EXPECT_EQ(ours_again, theirs + 1);
  EXPECT_EQ(vael_test::media_change_id(ic.database(), media), ours_again);

  fill_caches();
  EXPECT_EQ(commit_in_other_process(path, media), ours_again + 1);
}

}  // namespace
