#include <upnptools.h>

#include "platform/system/Paths.h"
#include "service/DMSDevice.h"
#include "service/DeviceCallback.h"
#include "support/LogCapture.h"
#include "support/TempDir.h"

namespace MediaServer {
namespace {

constexpr const char* kDirectoryId = "urn:upnp-org:serviceId:ContentDirectory";
constexpr const char* kConnectionId = "urn:upnp-org:serviceId:ConnectionManager";
constexpr const char* kRegistrarId = "urn:microsoft.com:serviceId:X_MS_MediaReceiverRegistrar";
constexpr const char* kLoopbackMac = "00:00:00:00:00:01";
// Documentation addresses (RFC 5737): never in an ARP table.
constexpr const char* kStranger = "192.0.2.77";
constexpr int kUntouched = 4711;

struct Answer {
    int code;
    std::string error;
    std::string document;  ///< empty without one
};

class Routing : public ::testing::Test {
protected:
    Routing() {
        const std::string package = "var/packages/MediaServer/";
        root_.Write(package + "target/etc/agent.conf",
                    "[profile TV]\nuser-agent = TV\n[profile Box]\nuser-agent = Box\n"
                    "[profile Silent]\nuser-agent = No Browse User Agent\n");
        WriteClients("0");
        device_ = std::make_unique<DMSDevice>();
        device_->LearnInterfaces();
        device_->SetupServices();
        device_->ReloadClients();
        // An action of the test's own, to see what handlers get.
        device_->FindService(device_->UDN(), kDirectoryId)->actions["Probe"] =
            [this](ClientRequest& request, DMSService& service, IXML_Document*, IXML_Document** response,
                   std::string& error) {
                seen_ = std::move(request);
                AddOutput(response, "Probe", service, "Out", "value");
                if (throws_) throw std::runtime_error("broken handler");
                error = probe_error_;
                return probe_code_;
            };
    }
    void WriteClients(const std::string& clients) {
        root_.Write(std::string(kClientListFile).substr(1), "{\"ClientList\": " + clients + "}");
    }
    Answer Act(const std::string& action, const std::string& service_id = kDirectoryId, const HeaderMap& headers = {},
               const std::string& address = "127.0.0.1", const char* argument = nullptr, const char* value = nullptr,
               const std::string& udn = "") {
        UpnpActionRequest* request = UpnpActionRequest_new();
        IxmlDocument arguments(UpnpMakeAction(action.c_str(), "urn:type", 0, nullptr));
        if (argument != nullptr) {
            IXML_Document* raw = arguments.release();
            UpnpAddToAction(&raw, action.c_str(), "urn:type", argument, value);
            arguments.reset(raw);
        }
        UpnpActionRequest_strcpy_ActionName(request, action.c_str());
        UpnpActionRequest_strcpy_ServiceID(request, service_id.c_str());
        UpnpActionRequest_strcpy_DevUDN(request, udn.empty() ? device_->UDN().c_str() : udn.c_str());
        UpnpActionRequest_set_ErrCode(request, kUntouched);
        UpnpActionRequest_set_ActionRequest(request, arguments.get());
        ActionRequestEvent event{request, headers, address, {}};
        EXPECT_EQ(DeviceCallback(UPNP_CONTROL_ACTION_REQUEST, &event, device_.get()), 0);
        IxmlDocument result(UpnpActionRequest_get_ActionResult(request));
        Answer answer{UpnpActionRequest_get_ErrCode(request),
                      UpnpString_get_String(UpnpActionRequest_get_ErrStr(request)),
                      result ? PrintDocument(result.get()) : std::string()};
        // The request owns neither document.
        UpnpActionRequest_set_ActionRequest(request, nullptr);
        UpnpActionRequest_set_ActionResult(request, nullptr);
        UpnpActionRequest_delete(request);
        return answer;
    }
    Answer Query(const char* variable, const char* service_id = kDirectoryId) {
        UpnpStateVarRequest* request = UpnpStateVarRequest_new();
        UpnpStateVarRequest_strcpy_StateVarName(request, variable);
        UpnpStateVarRequest_strcpy_ServiceID(request, service_id);
        UpnpStateVarRequest_strcpy_DevUDN(request, device_->UDN().c_str());
        UpnpStateVarRequest_set_ErrCode(request, kUntouched);
        EXPECT_EQ(DeviceCallback(UPNP_CONTROL_GET_VAR_REQUEST, request, device_.get()), 0);
        const char* value = UpnpStateVarRequest_get_CurrentVal(request);
        Answer answer{UpnpStateVarRequest_get_ErrCode(request),
                      UpnpString_get_String(UpnpStateVarRequest_get_ErrStr(request)), value == nullptr ? "" : value};
        UpnpStateVarRequest_delete(request);
        return answer;
    }

    TempSysroot root_;
    std::unique_ptr<DMSDevice> device_;
    ClientRequest seen_;
    int probe_code_ = 0;
    bool throws_ = false;
    std::string probe_error_;
};

TEST_F(Routing, OnlyExactNamesReachAHandler) {
    struct Case {
        const char *why, *action, *service, *udn;
        int code;
    };
    const Case cases[] = {
        {"an action of the service", "GetSystemUpdateID", kDirectoryId, "", 0},
        {"an action of the connection manager", "GetProtocolInfo", kConnectionId, "", 0},
        {"an action of the registrar", "IsAuthorized", kRegistrarId, "", 0},
        {"an action that nobody has", "DestroyObject", kDirectoryId, "", 401},
        {"an action of another service", "GetProtocolInfo", kDirectoryId, "", 401},
        {"another spelling", "getsystemupdateid", kDirectoryId, "", 401},
        {"a service type in place of the id", "Browse", "urn:schemas-upnp-org:service:ContentDirectory:1", "", 401},
        {"another device", "GetSystemUpdateID", kDirectoryId, "uuid:other", 401},
        {"no name", "", kDirectoryId, "", 401},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        const Answer answer =
            Act(c.action[0] == '\0' ? "x" : c.action, c.service, {}, "127.0.0.1", nullptr, nullptr, c.udn);
        EXPECT_EQ(answer.code, c.code);
        EXPECT_EQ(answer.error, c.code == 0 ? "" : "Invalid Action");
        EXPECT_EQ(answer.document.empty(), c.code != 0);
    }
    EXPECT_NE(Act("GetSystemUpdateID").document.find("<Id>1</Id>"), std::string::npos);
}

TEST_F(Routing, FailedHandlerLeavesCodeAndTextButNoDocument) {
    probe_code_ = 701;
    probe_error_ = "No such object";
    Answer answer = Act("Probe");
    EXPECT_EQ(answer.code, 701);
    EXPECT_EQ(answer.error, "No such object");
    EXPECT_EQ(answer.document, "");
    probe_error_ = std::string(178, 'x') + "\xc3\xa9" + "tail";
    EXPECT_EQ(Act("Probe").error, std::string(178, 'x')) << "179 bytes would tear a character";
    throws_ = true;
    answer = Act("Probe");
    EXPECT_EQ(answer.code, 501);
    EXPECT_EQ(answer.document, "");
    EXPECT_EQ(Act("GetCurrentConnectionInfo", kConnectionId, {}, "127.0.0.1", "ConnectionID", "7a").code, -101);
}

TEST_F(Routing, ClientWithoutUserAgentIsRecordedButHandlersSeeItsOwnHeaders) {
    Act("Probe", kDirectoryId, {{"x-extra", "1"}});
    EXPECT_EQ(seen_.Header("user-agent"), "");
    EXPECT_EQ(seen_.Header("X-Extra"), "1");
    EXPECT_EQ(seen_.client_address, "127.0.0.1");
    EXPECT_EQ(seen_.profile_name, "Silent");
    EXPECT_EQ(device_->FindKey(kLoopbackMac, "browse_user-agent"), "No Browse User Agent");
    EXPECT_EQ(device_->FindKey(kLoopbackMac, "browse_x-extra"), "1");
}

TEST_F(Routing, AnotherUserAgentIsAnotherClient) {
    Act("Probe", kDirectoryId, {{"user-agent", "TV 1"}, {"x-old", "1"}});
    EXPECT_EQ(seen_.profile_name, "TV");
    Act("Probe", kDirectoryId, {{"user-agent", "Box 1"}});
    EXPECT_EQ(seen_.profile_name, "Box");
    EXPECT_EQ(device_->FindKey(kLoopbackMac, "browse_x-old"), "") << "erased, not merged";
    Act("Probe", kDirectoryId, {{"user-agent", "unknown"}});
    EXPECT_EQ(seen_.profile_name, "Default Profile");

    const std::string longer_than_stored = "TV " + std::string(3000, 'x');
    Act("Probe", kDirectoryId, {{"user-agent", longer_than_stored}, {"x-kept", "1"}});
    Act("Probe", kDirectoryId, {{"user-agent", longer_than_stored}});
    EXPECT_EQ(device_->FindKey(kLoopbackMac, "browse_x-kept"), "1") << "the same agent, so the same client";
}

TEST_F(Routing, EditedListCountsFromTheNextActionOn) {
    Act("Probe", kDirectoryId, {{"user-agent", "TV"}});
    WriteClients(R"({"00:00:00:00:00:01": {"browse_user-agent": "TV", "profileName": "Box"}})");
    Act("Probe", kDirectoryId, {{"user-agent", "TV"}});
    EXPECT_EQ(seen_.profile_name, "TV") << "not asked to reload yet";
    device_->ReloadClients();
    Act("Probe", kDirectoryId, {{"user-agent", "TV"}});
    EXPECT_EQ(seen_.profile_name, "Box");
}

TEST_F(Routing, RefusedClientGetsNothingWhateverItCallsItself) {
    WriteClients(R"({"00:00:00:00:00:01": {"isAccess": "false", "browse_user-agent": "TV"},
                     "aa:aa:aa:aa:aa:aa": {"isAccess": "false", "ip": "192.0.2.77"}})");
    device_->ReloadClients();
    for (const char* agent : {"TV", "Box", ""}) {
        const Answer answer = Act("Probe", kDirectoryId, {{"user-agent", agent}});
        EXPECT_EQ(answer.code, kUntouched);
        EXPECT_EQ(answer.document, "");
        device_->EraseObject(kLoopbackMac);  // as a download of the description does for a changed user agent
    }
    EXPECT_EQ(Act("Probe", kDirectoryId, {}, kStranger).code, kUntouched) << "known by its address only";
    EXPECT_EQ(seen_.client_address, "");
    device_->SetAccessRightsDisabled(true);
    EXPECT_EQ(Act("Probe").code, 0);
}

TEST_F(Routing, ClientWithoutHardwareAddressIsKnownByItsLastAddressOnly) {
    WriteClients(R"({"aa:aa:aa:aa:aa:aa": {"ip": "192.0.2.77", "profileName": "Box"}})");
    device_->ReloadClients();
    Act("Probe", kDirectoryId, {{"user-agent", "TV"}}, kStranger);
    EXPECT_EQ(seen_.profile_name, "Box");
    EXPECT_EQ(device_->FindKey("aa:aa:aa:aa:aa:aa", "browse_user-agent"), "") << "not recorded";
    Act("Probe", kDirectoryId, {{"user-agent", "TV"}}, "192.0.2.78");
    EXPECT_EQ(seen_.profile_name, "Default Profile");
}

TEST_F(Routing, StateVariables) {
    EXPECT_EQ(Query("SystemUpdateID").document, "1");
    device_->IncrementSystemUpdateID();
    EXPECT_EQ(Query("SystemUpdateID").document, "2");
    EXPECT_EQ(Query("CurrentConnectionIDs", kConnectionId).document, "0");
    EXPECT_EQ(Query("ValidationRevokedUpdateID", kRegistrarId).document, "1");
    for (const Answer& wrong :
         {Query("Nonsense"), Query("SystemUpdateID", kConnectionId), Query("SystemUpdateID", "x")}) {
        EXPECT_EQ(wrong.code, 404);
        EXPECT_EQ(wrong.error, "Invalid Variable");
    }
    DMSService* directory = device_->FindService(device_->UDN(), kDirectoryId);
    directory->state_variables["SystemUpdateID"] = "4294967295";
    device_->IncrementSystemUpdateID();
    EXPECT_EQ(Query("SystemUpdateID").document, "0");
    const auto variables = directory->VariablesLocked();
    ASSERT_EQ(variables.size(), 3U);
    EXPECT_EQ(variables[0].first, "SearchCapabilities");
    EXPECT_EQ(variables[2].first, "SystemUpdateID");
}

TEST_F(Routing, EventsOfNoInterestAreTakenAndUnknownOnesTold) {
    for (const int type : {1, 3, 5, 7, 9, 10, 11, 12, 13, 99, -1}) {
        LogCapture log;
        EXPECT_EQ(DeviceCallback(static_cast<Upnp_EventType>(type), nullptr, device_.get()), 0);
        const bool is_known = type >= 1 && type <= 12;
        const std::string message =
            "Error in TvDeviceCallbackEventHandler: unknown event type " + std::to_string(type) + "\n";
        EXPECT_EQ(log.Text().find(message) == std::string::npos, is_known) << type;
    }
}

}  // namespace
}  // namespace MediaServer
