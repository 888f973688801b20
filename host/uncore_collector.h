// SPDX-License-Identifier: MIT

#ifndef HOST_UNCORE_COLLECTOR_H
#define HOST_UNCORE_COLLECTOR_H

#include <memory>
#include <string>

#include "host/counter_source.h"
#include "scenario/framework.h"

namespace host {

/// The instance "pmu_uncore_collector": reads a CounterSource and publishes what it gives as batches of
/// PmuData on "uncore" while that topic is open.
///
/// A published batch is one block of memory, record header and samples together, so that a host that releases
/// the record releases all of it. Event names belong to the source and live as long as this instance. A batch
/// without samples is published too: the time that it covers counts.
///
/// Takes no lock but that of the message queue. Run raises std::system_error (operation not permitted) when
/// the host never set that queue; a batch that could not be pushed is published by the next Run.
class UncoreCollector : public kovari::Interface {
public:
    /// `periodMs`: how often Run is to be called. Raises std::invalid_argument when `source` is null.
    UncoreCollector(std::unique_ptr<CounterSource> source, std::int32_t periodMs);

    Result OpenTopic(const kovari::Topic& topic) override;
    void CloseTopic(const kovari::Topic& topic) override;
    void UpdateData(const DataList& dataList) override;
    Result Enable(const std::string& param) override;
    void Disable() override;

    /// While "uncore" is open: fetches the next batch, unless Fetch already has, and publishes it. Publishes
    /// nothing while the source waits and once it has ended or failed.
    void Run() override;

    /// Reads the next batch from the source without publishing it; the next Run publishes it. For whoever has
    /// to know a batch's time before it is due. BATCH again, without reading, while a fetched batch waits.
    CounterSource::Status Fetch();

    /// The batch fetched or published last.
    const CounterBatch& Batch() const { return batch; }

    /// Status of the last read.
    CounterSource::Status SourceStatus() const { return status; }

    CounterSource& Source() { return *source; }

private:
    void Publish();

    std::unique_ptr<CounterSource> source;
    CounterBatch batch;
    CounterBatch next;  // read into this one, so that END leaves `batch` alone
    CounterSource::Status status = CounterSource::Status::BATCH;
    bool fetched = false;
    bool opened = false;
};

}  // namespace host

#endif  // HOST_UNCORE_COLLECTOR_H
