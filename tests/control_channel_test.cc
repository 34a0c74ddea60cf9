// The control exchange against the simulator: what the daemon's reply
// turns into, what a silent daemon costs, and the bytes that go out.
#include <sys/ipc.h>
#include <sys/msg.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <thread>

#include <gtest/gtest.h>

#include "control/control_message.h"
#include "sim_process.h"
#include "util/request_context.h"

namespace {

// Points the process-wide queue ids at a simulator for one test.
class Exchange {
 public:
  explicit Exchange(const std::vector<std::string>& sim_args = {}) : sim_(sim_args) {
    context().request_queue_id = attach_control_queue(sim_.request_key());
    context().reply_queue_id = attach_control_queue(sim_.reply_key());
  }
  ~Exchange() {
    context().request_queue_id = -1;
    context().reply_queue_id = -1;
  }
  SimProcess& sim() { return sim_; }

 private:
  SimProcess sim_;
};

TEST(ControlChannel, ReplyStatusBecomesTheAnswer) {
  struct Case {
    const char* daemon_says;
    int caller_sees;
  } cases[] = {{"1", 1}, {"0", 0}, {"2", 2}, {"3", 3}, {"7", 3}, {"-1", -1}};
  for (const Case& c : cases) {
    Exchange exchange({"--status", std::string("8=") + c.daemon_says});
    EXPECT_EQ(send_control_command(kCommandReboot), c.caller_sees) << c.daemon_says;
  }
}

TEST(ControlChannel, AReplyThatComesTooLateAnswersTheNextExchange) {
  // Replies are matched by process id only: a late reply waits in the
  // queue and is taken by the next exchange of the same process.
  Exchange exchange({"--delay", "8=5600", "--status", "8=7", "--status", "41=1"});
  EXPECT_EQ(send_control_command(kCommandReboot), 2);
  usleep(800000);
  control_message msg;
  init_control_message(&msg);
  msg.command = kCommandNetworkApply;
  send_control_message(&msg);
  EXPECT_EQ(msg.command, kCommandReboot);  // the late reply of command 8
  EXPECT_EQ(msg.status, 3);
  EXPECT_EQ(send_control_command(kCommandPtzControl), 1);  // 41's reply, in turn
}

TEST(ControlChannel, PayloadFieldsArriveAtTheirOffsets) {
  Exchange exchange;
  control_message msg;
  EXPECT_EQ(init_control_message(&msg), getpid());
  msg.command = kCommandSetTime;
  control_put_int(&msg, 0, 2);
  // A text is cut to its field, keeping the terminating zero.
  control_put_text(&msg, 4, 128, std::string(300, 'n').c_str());
  control_put_int(&msg, 132, 24);
  control_put_int(&msg, 156, 59);
  // Fields that would reach beyond the payload are not written at all.
  control_put_int(&msg, kControlPayloadSize - 2, 77);
  control_put_text(&msg, kControlPayloadSize - 4, 48, "abcdefgh");
  send_control_message(&msg);
  EXPECT_EQ(msg.status, 1);

  std::vector<SimCommand> sent = exchange.sim().commands();
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0].code, kCommandSetTime);
  EXPECT_EQ(sent[0].status_sent, 0);
  EXPECT_EQ(sent[0].int_at(0), 2);
  EXPECT_EQ(sent[0].text_at(4, 128), std::string(127, 'n'));
  EXPECT_EQ(sent[0].int_at(132), 24);
  EXPECT_EQ(sent[0].int_at(156), 59);
  EXPECT_EQ(sent[0].payload.substr(kControlPayloadSize - 4), std::string("abc\0", 4));
  EXPECT_EQ(exchange.sim().log_lines().at(0).rfind("command 6 (set time)", 0), 0u);
}

TEST(ControlChannel, ReplyPayloadIsHandedBack) {
  Exchange exchange({"--reply-int", "65=0:42", "--position-frame", "FF0100A1"});
  control_message msg;
  init_control_message(&msg);
  msg.command = kCommandPtzPosition;
  send_control_message(&msg);
  EXPECT_EQ(control_get_int(&msg, 0), 42);
  EXPECT_EQ(msg.payload[7], 0xA1);
  EXPECT_EQ(control_get_int(&msg, kControlPayloadSize - 2), 0);  // out of range
}

TEST(ControlChannel, DrainRemovesStaleMessagesOfAnySize) {
  int key = 0x5b000000 + (getpid() & 0xffff);
  int queue = msgget(key, IPC_CREAT | 0666);
  ASSERT_GE(queue, 0);
  struct {
    long mtype;
    char text[2000];
  } stale = {1, {}};
  for (size_t size : {4u, 1128u, 2000u}) {
    stale.mtype += 1;
    ASSERT_EQ(msgsnd(queue, &stale, size, IPC_NOWAIT), 0);
  }
  drain_control_queue(queue);
  msqid_ds state;
  ASSERT_EQ(msgctl(queue, IPC_STAT, &state), 0);
  EXPECT_EQ(state.msg_qnum, 0u);
  msgctl(queue, IPC_RMID, nullptr);
  drain_control_queue(queue);  // a queue that is gone is left alone
}

TEST(ControlChannel, StartUpWaitsForTheDaemonsQueues) {
  int key = 0x5d000000 + (getpid() & 0xffff);
  std::thread daemon([key] {
    usleep(1200000);
    msgget(key, IPC_CREAT | 0666);
  });
  auto started = std::chrono::steady_clock::now();
  int queue = attach_control_queue(key);
  auto waited = std::chrono::steady_clock::now() - started;
  daemon.join();
  EXPECT_GE(queue, 0);
  EXPECT_GE(waited, std::chrono::seconds(1));
  msgctl(queue, IPC_RMID, nullptr);
}

}  // namespace
