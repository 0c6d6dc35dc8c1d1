#include "protection/search_turn.h"

#include <gtest/gtest.h>

namespace varnel {
namespace {

TEST(SearchTurn, GivingUpReachesTheAwaitedSearchOnly) {
  SearchTurn turn;
  ASSERT_TRUE(turn.Begin(7));
  EXPECT_FALSE(turn.Begin(8)) << "while another thread is searching";
  const SearchTurn::Search first = turn.Current();
  turn.End();
  turn.GiveUp(first);
  EXPECT_EQ(0, turn.Current().isGivenUp) << "after its end";
  ASSERT_TRUE(turn.Begin(7));
  turn.GiveUp(first);
  EXPECT_EQ(0, turn.Current().isGivenUp) << "during the next search of the same thread";
  turn.GiveUp(turn.Current());
  EXPECT_EQ(1, turn.Current().isGivenUp);
  turn.End();
  EXPECT_TRUE(turn.Begin(8));
  EXPECT_EQ(0, turn.Current().isGivenUp) << "of the search before";
}

}  // namespace
}  // namespace varnel
