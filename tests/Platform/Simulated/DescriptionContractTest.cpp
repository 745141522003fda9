// The contracts of the services that describe the device and the application, for the simulated
// ones.

#include <tests/Platform/ApplicationContract.h>
#include <tests/Platform/BundleContract.h>
#include <tests/Platform/DeviceContract.h>
#include <tests/Platform/LifeCycleCheckerContract.h>
#include <tests/Platform/ScreenHierarchyContract.h>
#include <tests/Platform/TelephonyContract.h>

#include <Telvora/Platform/Simulated/SimulatedPlatform.h>

#include <utility>

namespace telvora {
namespace {

class ScriptedApplicationSubject {
public:
    Application& application() { return m_application; }
    void install(const std::string& url) { m_application.setOpenableURLs({ url }); }

private:
    ScriptedApplication m_application;
};

class ScriptedBundleSubject {
public:
    Bundle& bundle(Dictionary info, std::optional<std::string> identifier)
    {
        m_bundle.setInfoDictionary(std::move(info));
        m_bundle.setBundleIdentifier(std::move(identifier));
        return m_bundle;
    }

private:
    ScriptedBundle m_bundle;
};

class ScriptedDeviceSubject {
public:
    Device& device() { return m_device; }
    void setSystemVersion(std::string version)
    {
        auto values = m_device.values();
        values.systemVersion = std::move(version);
        m_device.setValues(std::move(values));
    }

private:
    ScriptedDevice m_device;
};

class ScriptedLifeCycleCheckerSubject {
public:
    LifeCycleChecker& checker() { return m_checker; }
    std::unique_ptr<LifeCycleTrace> create(const std::string& sceneName)
    {
        return m_checker.create(sceneName);
    }

private:
    ScriptedLifeCycleChecker m_checker;
};

class ScriptedScreensSubject {
public:
    ScreenHierarchy& screens() { return m_screens; }
    void open()
    {
        m_screens.make("Page");
        m_screens.setWindowRoot("Page");
    }
    void closeRoot() { m_screens.release("Page"); }
    void close() { m_screens.removeWindow(); }

private:
    ScriptedScreenHierarchy m_screens;
};

class ScriptedTelephonySubject {
public:
    Telephony& telephony() { return m_telephony; }
    void publish(std::optional<Telephony::Carriers> carriers,
        std::optional<Telephony::RadioTechnologies> technologies)
    {
        m_telephony.setCarriers(std::move(carriers));
        m_telephony.setRadioTechnologies(std::move(technologies));
    }

private:
    ScriptedTelephony m_telephony;
};

INSTANTIATE_TYPED_TEST_SUITE_P(
    ScriptedApplication, ApplicationContract, ScriptedApplicationSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(ScriptedBundle, BundleContract, ScriptedBundleSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(ScriptedDevice, DeviceContract, ScriptedDeviceSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(
    ScriptedLifeCycleChecker, LifeCycleCheckerContract, ScriptedLifeCycleCheckerSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(
    ScriptedScreenHierarchy, ScreenHierarchyContract, ScriptedScreensSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(ScriptedTelephony, TelephonyContract, ScriptedTelephonySubject);

} // namespace
} // namespace telvora
