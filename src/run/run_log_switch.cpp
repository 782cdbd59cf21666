#include "run/run_log_switch.h"

#include "log/run_log.h"
#include "product/cleanup_key.h"

namespace saltrove {

void InitRunLog(const std::u16string& productCode) {
    TurnRunLog(QueryCleanupNumber(productCode, kRunLogSwitchValue) == 1U);
}

}  // namespace saltrove
