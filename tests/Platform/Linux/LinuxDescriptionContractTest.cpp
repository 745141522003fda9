// The contracts of the services that describe the device and the application.

#include <Telvora/Platform/Host/HostBundle.h>
#include <Telvora/Platform/Host/HostLifeCycleChecker.h>
#include <Telvora/Platform/Host/HostScreenHierarchy.h>
#include <Telvora/Platform/Host/HostTelephony.h>
#include <Telvora/Platform/Linux/Machine/LinuxApplication.h>
#include <Telvora/Platform/Linux/Machine/LinuxDevice.h>

#include <tests/Platform/ApplicationContract.h>
#include <tests/Platform/BundleContract.h>
#include <tests/Platform/DeviceContract.h>
#include <tests/Platform/LifeCycleCheckerContract.h>
#include <tests/Platform/Linux/Machine/TemporaryTree.h>
#include <tests/Platform/ScreenHierarchyContract.h>
#include <tests/Platform/TelephonyContract.h>

#include <memory>
#include <utility>

namespace telvora::detail {
namespace {

class LinuxApplicationSubject {
public:
    Application& application() { return m_application; }
    void install(const std::string& url)
    {
        const std::string scheme = url.substr(0, url.find(':'));
        m_tree.write("/usr/share/applications/handler.desktop",
            "[Desktop Entry]\nType=Application\nExec=/bin/false\n");
        m_tree.write("/usr/share/applications/mimeinfo.cache",
            "[MIME Cache]\nx-scheme-handler/" + scheme + "=handler.desktop\n");
    }

private:
    TemporaryTree m_tree;
    LinuxApplication m_application { SystemFiles(m_tree.path()), { "", "/usr/share", "" } };
};

class HostBundleSubject {
public:
    Bundle& bundle(Dictionary info, std::optional<std::string> identifier)
    {
        m_bundle = std::make_unique<HostBundle>(
            HostBundle::Options { {}, {}, std::move(identifier), std::move(info) });
        return *m_bundle;
    }

private:
    std::unique_ptr<HostBundle> m_bundle;
};

class LinuxDeviceSubject {
public:
    Device& device() { return m_device; }
    void setSystemVersion(const std::string& version)
    {
        m_tree.write("/etc/os-release", "VERSION_ID=\"" + version + "\"\n");
    }

private:
    TemporaryTree m_tree;
    LinuxDevice m_device { SystemFiles(m_tree.path()) };
};

class HostLifeCycleCheckerSubject {
public:
    LifeCycleChecker& checker() { return m_checker; }
    std::unique_ptr<LifeCycleTrace> create(const std::string& sceneName)
    {
        return m_checker.create(sceneName);
    }

private:
    HostLifeCycleChecker m_checker;
};

class HostScreenHierarchySubject {
public:
    ScreenHierarchy& screens() { return m_screens; }
    void open()
    {
        m_window->root = std::make_shared<Page>();
        m_screens.setKeyWindowSupplier([window = m_window] { return window; });
    }
    void closeRoot() { m_window->root.reset(); }
    void close() { m_screens.setKeyWindowSupplier({}); }

private:
    struct Page final : UIViewController {
        std::string className() const override { return "Page"; }
        std::string sceneName() const override { return "Host.Page"; }
    };

    struct Window final : UIWindow {
        std::shared_ptr<UIViewController> rootViewController() const override { return root; }

        std::shared_ptr<Page> root;
    };

    const std::shared_ptr<Window> m_window = std::make_shared<Window>();
    HostScreenHierarchy m_screens;
};

class HostTelephonySubject {
public:
    Telephony& telephony() { return m_telephony; }
    void publish(std::optional<Telephony::Carriers> carriers,
        std::optional<Telephony::RadioTechnologies> technologies)
    {
        m_telephony.publish({ std::move(carriers), std::move(technologies) });
    }

private:
    HostTelephony m_telephony;
};

INSTANTIATE_TYPED_TEST_SUITE_P(LinuxApplication, ApplicationContract, LinuxApplicationSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(HostBundle, BundleContract, HostBundleSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(LinuxDevice, DeviceContract, LinuxDeviceSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(
    HostLifeCycleChecker, LifeCycleCheckerContract, HostLifeCycleCheckerSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(
    HostScreenHierarchy, ScreenHierarchyContract, HostScreenHierarchySubject);
INSTANTIATE_TYPED_TEST_SUITE_P(HostTelephony, TelephonyContract, HostTelephonySubject);

} // namespace
} // namespace telvora::detail
