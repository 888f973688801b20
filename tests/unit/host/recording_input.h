// SPDX-License-Identifier: MIT

#ifndef TESTS_UNIT_HOST_RECORDING_INPUT_H
#define TESTS_UNIT_HOST_RECORDING_INPUT_H

#include <stdlib.h>
#include <unistd.h>

#include <cstddef>

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "host/counter_source.h"
#include "host/replay_source.h"

namespace host_test {

/// A file of the test's own with the given content, removed at the end.
class TemporaryFile {
public:
    explicit TemporaryFile(std::string_view content) : path(testing::TempDir() + "recording_XXXXXX")
    {
        const int fd = mkstemp(path.data());
        std::size_t written = 0;
        while (fd >= 0 && written < content.size()) {
            const ssize_t now = write(fd, content.data() + written, content.size() - written);
            if (now <= 0) {
                break;
            }
            written += static_cast<std::size_t>(now);
        }
        close(fd);
        EXPECT_EQ(written, content.size()) << path;
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() { unlink(path.c_str()); }

    const std::string& Path() const { return path; }

private:
    std::string path;
};

/// Everything that a recording gives. The batches' texts live as long as the source.
struct WholeReplay {
    std::unique_ptr<host::ReplaySource> source;
    std::vector<host::CounterBatch> batches;
    host::CounterSource::Status status = host::CounterSource::Status::FAILED;
    std::vector<std::string> remarks;
    std::string error;
};

inline WholeReplay ReadAll(const host::ReplayOptions& options)
{
    WholeReplay whole;
    host::ReplayResult opened = host::OpenReplaySource(options);
    whole.source = std::move(opened.source);
    whole.error = opened.error;
    if (whole.source == nullptr) {
        return whole;
    }
    host::CounterBatch batch;
    for (;;) {
        whole.status = whole.source->Read(batch);
        if (whole.status == host::CounterSource::Status::BATCH) {
            whole.batches.push_back(batch);
        } else if (whole.status != host::CounterSource::Status::WAITING) {
            break;
        }
    }
    whole.remarks = whole.source->TakeRemarks();
    whole.error = whole.source->Error();
    return whole;
}

inline WholeReplay ReadAll(const std::string& path)
{
    host::ReplayOptions options;
    options.path = path;
    return ReadAll(options);
}

}  // namespace host_test

#endif  // TESTS_UNIT_HOST_RECORDING_INPUT_H
