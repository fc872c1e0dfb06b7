// Any commands on the command channel, as records and as raw bytes, over a card that changes and
// fails. Each must get the one result that the converter's status asks for.

#include <poll.h>
#include <unistd.h>

#include <cerrno>

#include "captured_log.h"
#include "card_script.h"
#include "converter_access.h"

namespace {

using zel_fuzz::input;
using zel_test::fc_access;

constexpr int kPatienceMs = 5000;

/// Any record, but of a stream that takes little memory or is refused for taking too much.
ctl_cmd take_command(input& in) {
    ctl_cmd cmd{};
    const std::vector<std::uint8_t> bytes = in.bytes(sizeof(cmd));
    std::memcpy(&cmd, bytes.data(), sizeof(cmd));
    const auto bound = [](std::uint32_t& value, std::uint32_t limit) {
        value = value > 0x7FFFFFFF ? value : value % limit;
    };
    bound(cmd.stConfig.channels, 18);
    bound(cmd.stConfig.period_size, 8192);
    bound(cmd.stConfig.period_count, 5);
    cmd.stConfig.rate %= 100'000;
    return cmd;
}

class session {
  public:
    explicit session(input& bytes) : in(bytes) {
        zel_fuzz::reset_card();
        converter = fc_access::make();
        fc_access::timeout_ms(*converter) = kPatienceMs;
    }
    ~session() {
        converter.reset();
        ZEL_FUZZ_CHECK(zel_test::open_handles() == 0);
    }
    session(const session&) = delete;
    session& operator=(const session&) = delete;

    void step() {
        switch (in.below(6)) {
            case 0:
                return send({in.below(7), {}, 0});
            case 1:
                return send(take_command(in));
            case 2:
                return write_bytes();
            case 3:
                return open();
            case 4:
                return use();
            default:
                return zel_fuzz::disturb_card(in);
        }
    }

  private:
    void send(const ctl_cmd& cmd) { check_result(cmd.u32Cmd, fc_access::send(*converter, cmd)); }

    /// The client's own operations.
    void open() {
        const pcm_config config =
            zel_test::client_config(in.below(2) != 0 ? 16000 : 48000,
                                    in.below(2) != 0 ? PCM_FORMAT_S32_LE : PCM_FORMAT_S16_LE);
        check_result(FC_OPEN, converter->open(&config, in.word()));
        if (in.below(2) != 0) {
            check_result(FC_START, converter->start());
        }
    }

    void use() {
        std::vector<std::uint8_t> block(1 + in.below(2048));
        const int got = converter->read(block.data(), static_cast<unsigned int>(block.size()));
        ZEL_FUZZ_CHECK(got == -EINVAL ||
                       (got >= 0 && static_cast<std::size_t>(got) <= block.size()));
        timespec ts{};
        ZEL_FUZZ_CHECK(converter->get(PROP_TIMESTAMP, &ts) == 0);
        ZEL_FUZZ_CHECK(converter->get(static_cast<property_e>(5 + in.below(100)), &ts) == -EINVAL);
    }

    /// Whole records and a rest, in one write; every piece that the worker reads gets a result.
    void write_bytes() {
        if (exited) {
            return;
        }
        std::vector<std::uint8_t> bytes;
        std::vector<std::uint32_t> codes;
        for (std::uint32_t records = in.below(3); records > 0; --records) {
            const ctl_cmd cmd = take_command(in);
            codes.push_back(cmd.u32Cmd);
            const auto* record = reinterpret_cast<const std::uint8_t*>(&cmd);
            bytes.insert(bytes.end(), record, record + sizeof(cmd));
        }
        const std::vector<std::uint8_t> rest = in.bytes(in.below(sizeof(ctl_cmd)));
        bytes.insert(bytes.end(), rest.begin(), rest.end());
        ZEL_FUZZ_CHECK(write(fc_access::command_pipe(*converter)[1], bytes.data(), bytes.size()) ==
                       static_cast<ssize_t>(bytes.size()));
        fc_access::sent_commands(*converter) += static_cast<std::uint32_t>(codes.size());
        for (const std::uint32_t code : codes) {
            check_result(code, next_result());
            if (exited) {
                return;
            }
        }
        if (!rest.empty()) {
            ZEL_FUZZ_CHECK(next_result() == -EIO);
        }
    }

    int next_result() {
        pollfd waiting{fc_access::result_pipe(*converter)[0], POLLIN, 0};
        ZEL_FUZZ_CHECK(poll(&waiting, 1, kPatienceMs) == 1);
        std::int32_t result = 0;
        ZEL_FUZZ_CHECK(read(waiting.fd, &result, sizeof(result)) == sizeof(result));
        return result;
    }

    void check_result(std::uint32_t code, int result) {
        if (exited) {
            ZEL_FUZZ_CHECK(result == -ETIME);
        } else if (code == FC_CLOSE || code == FC_EXIT) {
            ZEL_FUZZ_CHECK(result == 0);
            status = static_cast<std::int32_t>(code);
            exited = code == FC_EXIT;
        } else if (code == FC_START && status == FC_OPEN) {
            ZEL_FUZZ_CHECK(result == 0);
            status = FC_START;
        } else if (code == FC_OPEN && status == FC_CLOSE) {
            ZEL_FUZZ_CHECK(result <= 0);
            status = result == 0 ? FC_OPEN : FC_CLOSE;
        } else {
            ZEL_FUZZ_CHECK(result == -EINVAL);
        }
        if (exited) {
            // Nobody answers any more.
            fc_access::timeout_ms(*converter) = 1;
        }
    }

    input& in;
    fc_access::owner converter;
    std::int32_t status = FC_CLOSE;
    bool exited = false;
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zel_test::clear_log();
    zel_fuzz::run_session<session>(data, size);
    return 0;
}
