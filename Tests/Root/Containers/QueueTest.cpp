#include <Kestrel/Root/Containers/Queue.h>

#include <gtest/gtest.h>

#include <deque>
#include <random>
#include <string>

namespace {

TEST(Queue, IsAStdDeque) {
    std::mt19937 random(1);
    Mu::Queue<std::string> queue;
    std::deque<std::string> model;
    for (int step = 0; step < 5000; ++step) {
        // Fills and empties in turns, so that it wraps at every capacity.
        if (random() % 100 < (step / 500 % 2 == 0 ? 70u : 30u)) {
            queue.Push(std::to_string(step));
            model.push_back(std::to_string(step));
        } else if (!model.empty()) {
            ASSERT_EQ(queue.GetFirst(), model.front());
            ASSERT_EQ(queue.Pop(), model.front());
            model.pop_front();
        }
        ASSERT_EQ(queue.GetSize(), model.size());
        if (!model.empty()) {
            auto const index = static_cast<unsigned int>(random() % model.size());
            ASSERT_EQ(queue[index], model[index]);
        }
    }
    Mu::Queue<std::string> copy(queue);
    queue.Clear();
    EXPECT_TRUE(queue.IsEmpty());
    EXPECT_EQ(copy.GetSize(), model.size());
    queue = std::move(copy);
    EXPECT_EQ(queue.Pop(), model.front());
}

} // namespace
