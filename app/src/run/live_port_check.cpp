#include "live_port_check.h"

#include "interface_stacks.h"
#include "orv/common/exceptions.h"
#include "stream_plan.h"
#include "traffic.h"

namespace orv::app {

namespace {

void FindStackProblems(const core::CPort& port, ObjectProblems& problems) {
    for (const core::CNetworkInterface* top : FindStacks(port)) {
        try {
            GetLiveHosts(*top);
        } catch (const common::COrvRunTimeError& error) {
            problems.push_back({top, {}, error.what()});
        }
    }
}

void FindStreamProblems(const core::CPort& port, ObjectProblems& problems) {
    for (const l2l3::CStreamBlock* block : GetActiveStreamBlocks(port)) {
        try {
            CheckStreams(*block);
        } catch (const common::COrvRunTimeError& error) {
            problems.push_back({block, {}, error.what()});
        }
    }
}

}  // namespace

ObjectProblems FindLivePortProblems(const core::CPort& port) {
    ObjectProblems problems;
    FindStackProblems(port, problems);
    FindStreamProblems(port, problems);
    return problems;
}

}  // namespace orv::app
