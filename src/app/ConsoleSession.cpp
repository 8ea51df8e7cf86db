#include "app/ConsoleSession.hpp"

#include "cleaning/StartupDelete.hpp"
#include "common/ModFunctions.hpp"
#include "common/registry/OpenStore.hpp"

namespace velloran {

ConsoleSession::ConsoleSession(const Options& options)
    : preview_(options.preview),
      target_(SelectTarget(options.prefix)),
      platform_(MakeSystemPlatform(target_)),
      host_(options.quiet ? std::cerr : std::cout, std::cerr, options.answerNo) {
    try {
        // A prefix's user.reg can be large; a run that needs no registry (the
        // clipboard, the trash, a junk search) never waits for it.
        store_ = OpenRegistryStore(
            target_, target_.HasPrefix() ? RegistryLoad::OnFirstUse : RegistryLoad::Now);
        settingsStore_ = OpenSettingsStore(target_);
    } catch (const VbError& e) {
        std::cerr << "velloran-cli: " << e.Description() << '\n';
        return;
    }
    Platform* platform = platform_.get();
    RegistryStore* store = store_.get();
    RegistryStore* settings = settingsStore_.get();
    if (options.preview) {
        previewStore_ = std::make_unique<PreviewStore>(*store_, summary_);
        if (settings)
            settings =
                (previewSettings_ = std::make_unique<PreviewStore>(*settings, summary_)).get();
        previewPlatform_ = std::make_unique<PreviewPlatform>(*platform_, summary_);
        platform = previewPlatform_.get();
        store = previewStore_.get();
    }
    app_ = std::make_unique<Application>(host_, *platform);
    app_->TargetDescription = target_.Describe();
    app_->CommandLine = options.commandLine;
    app_->SetRegistry(store);
    app_->SetSettingsRegistry(settings);
}

void ConsoleSession::Start() {
    app_->WinVersion = WinVersionCode(app_->GetPlatform().GetVersionEx());
}

FrmMain& ConsoleSession::LoadMain() {
    FrmMain& frm = app_->Main();
    frm.Form_Initialize();
    frm.Load();
    return frm;
}

int ConsoleSession::Run(const std::function<int()>& work) {
    int code = 0;
    try {
        if (int own = work(); own != 0) return own;
    } catch (const ProgramEnd& end) {
        code = end.code;
    }
    if (code != 0) return code;
    if (preview_) std::cout << summary_.Text() << '\n';
    return app_->Outcome.total.LeftUndone() ? 1 : 0;
}

int RunStartupDelete() {
    ConsoleSession::Options options;
    options.commandLine = kStartupDeleteSwitch;
    ConsoleSession session(options);
    if (!session.Ready()) return 1;
    try {
        session.LoadMain();
        return 0;
    } catch (const ProgramEnd& end) {
        return end.code;
    }
}

}  // namespace velloran
