#include "traces/Worker.hpp"

#include "common/WorkContext.hpp"
#include "common/registry/KelRegistry.hpp"

namespace velloran {

TraceWorker::~TraceWorker() {
    // Terminate step: the shared registry object and list go with the worker.
    ctx_.SharedRegistry.reset();
    ctx_.SharedList.clear();
}

KelRegistry& TraceWorker::NewRegistry() {
    ctx_.SharedRegistry = std::make_shared<KelRegistry>(ctx_.Registry());
    return *ctx_.SharedRegistry;
}

KelRegistry& TraceWorker::Registry() { return Require(ctx_.SharedRegistry); }

void TraceWorker::ClearList(const std::string& keyPath, const std::string& list, Int16& count,
                            const std::function<bool(const std::string&)>& select) {
    KelRegistry& reg = Registry();
    reg.RootKey(kHKeyCurrentUser);
    reg.KeyPath(keyPath);
    reg.SubKey(list);
    if (!reg.KeyExists()) return;
    ctx_.SharedList = reg.EnumerateValues(reg.RootKey(), reg.KeyPath() + "\\" + reg.SubKey());
    for (const auto& entry : ctx_.SharedList) {
        if (entry.first == kDefaultValueName) continue;
        if (select && !select(entry.first)) continue;
        count += 1;
        if (IsTrue(Cancel)) throw TaskCancelled{};
        reg.DeleteValue(entry.first);
        Result().Removed(1);
    }
}

void TraceWorker::ClearSubkeys(const std::string& keyPath, Int16& count) {
    KelRegistry& reg = Registry();
    reg.RootKey(kHKeyCurrentUser);
    reg.KeyPath(keyPath);
    reg.SubKey("");
    // A list that was never created has nothing to remove.
    if (!reg.KeyExists()) return;
    for (const auto& name : reg.EnumerateKeys(reg.RootKey(), reg.KeyPath())) {
        count += 1;
        if (IsTrue(Cancel)) throw TaskCancelled{};
        reg.DeleteKey(name);
        Result().Removed(1);
    }
}

void TraceWorker::RaiseProgress(const std::string& text) {
    if (OnProgress) OnProgress(area_, text);
}

void TraceWorker::Fail(const std::string& method, const std::string& failureText, int number,
                       const std::string& description) {
    if (!failureText.empty()) RaiseProgress(failureText);
    Result().Failed(className_ + ":" + method, description);
    RaiseError({static_cast<std::int16_t>(number),
                description,
                className_ + ":" + method,
                {},
                ctx_.VersionText()});
}

void TraceWorker::ReportLeftovers(const std::vector<std::string>& left) {
    for (const std::string& line : left) {
        RaiseProgress("Not removed: " + line);
        Result().Failed(line, "not removed");
    }
}

TaskEnd TraceWorker::RunTask(const std::string& method, const std::string& failureText,
                             const std::function<void()>& body) {
    // The changes stay in the store; the run saves them once, when it ends.
    try {
        body();
        return TaskEnd::Done;
    } catch (const TaskCancelled&) {
        return TaskEnd::Cancelled;
    } catch (const ProgramEnd&) {
        throw;
    } catch (const std::exception& e) {
        Fail(method, failureText, ErrorNumberOf(e), e.what());
        return TaskEnd::Failed;
    }
}

}  // namespace velloran
