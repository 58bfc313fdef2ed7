// The SDK's run loop on Qt's event loop.
//
//   QGuiApplication app(argc, argv);
//   auto loop = std::make_shared<quorel::qt::QtRunLoop>();       // on the thread that runs app.exec()
//
// Timers are exact to Qt's millisecond. A loop that goes drops what it has not run.
#pragma once

#include <QObject>
#include <memory>
#include <mutex>

#include "hosts/qt/export.h"
#include "quorel/foundation/run_loop.h"

namespace quorel::qt {

class QUOREL_QT_API QtRunLoop final : public RunLoop {
public:
    // Belongs to the thread that makes it.
    QtRunLoop();
    ~QtRunLoop() override;

    void post(std::function<void()> function) override;
    bool isCurrent() const override;
    TimerId schedule(Duration delay, std::function<void()> function) override;
    void cancel(TimerId id) override;
    Duration now() const override;
    double secondsSince1970() const override;

private:
    class Worker;
    const std::unique_ptr<Worker> worker_;
};

}  // namespace quorel::qt
