#include "site/check/PageCheck.h"

#include <algorithm>

#include "delivery/instructions/ItemLine.h"
#include "site/publish/Manifest.h"

namespace lumsite {

using delivery::FoldCase;

namespace {

using base::Findings;
using base::Severity;

constexpr const char *kKnownParameters[] = {"LumComponentName",
                                            "LumUrlRoot",
                                            "LumIniFileName",
                                            "LumActiveIniSection",
                                            "LumDependency",
                                            "LumSuppressInstallation",
                                            "LumDownloadOnly",
                                            "LumProductVersion",
                                            "LumMessageTitle",
                                            "RecordAddress",
                                            "LumProgressBarTitle",
                                            "LumSuppressProgressBar",
                                            "lumlocalsetting",
                                            "lumsitelock",
                                            "lumcertification",
                                            "LumWindowTitle",
                                            "LumHostName",
                                            "LumConfName",
                                            "LumSupportSSLFlag",
                                            "lumloadingmeetingfastflag",
                                            "ClientBuildVersion",
                                            "ParmSiteConfigExt_Value",
                                            "ParmProductType_Value",
                                            "ProductType",
                                            "szHomePage",
                                            "szFrameName",
                                            "szNextUrl",
                                            "klvpagewaiting_value",
                                            "LoggingURL",
                                            "MeetingID",
                                            "SessionID"};

class ParameterExaminer {
public:
    ParameterExaminer(const delivery::PageObject &object, const std::string &title)
        : m_object(object), m_title(title) {}

    Findings Run(const std::string &address);

private:
    void Add(Severity severity, const std::string &parameter, const std::string &what, const std::string &remedy) {
        const delivery::PageParameter *found = m_object.Find(parameter);
        const int line = found ? found->line : m_object.line;
        m_findings.push_back({severity, m_title + ":" + std::to_string(line), what, remedy});
    }
    void ExamineRoot(const std::string &address);
    void ExamineReports();
    void ExamineSpelling();

    const delivery::PageObject &m_object;
    const std::string &m_title;
    Findings m_findings;
};

std::string WithSlash(const std::string &url) {
    return url.ends_with('/') ? url : url + "/";
}

void ParameterExaminer::ExamineRoot(const std::string &address) {
    if (!m_object.Find("LumUrlRoot")) {
        Add(Severity::Error, "LumUrlRoot", "the page has no LumUrlRoot; nothing can be downloaded",
            "set it to the address of the published folder");
        return;
    }
    const std::string root = m_object.Value("LumUrlRoot");
    const std::string reason = ReasonAgainstUrlRoot(root);
    if (!reason.empty()) {
        Add(Severity::Error, "LumUrlRoot", "LumUrlRoot \"" + root + "\" " + reason,
            "set it to the address of the published folder");
    } else if (!address.empty() && WithSlash(root) != WithSlash(address)) {
        Add(Severity::Warning, "LumUrlRoot",
            "the page sends visitors to " + root + ", which is not the address that was checked",
            "check that address too");
    }
}

void ParameterExaminer::ExamineReports() {
    const std::string url = m_object.Value("LoggingURL");
    if (!m_object.Find("LoggingURL")) {
        return;
    }
    for (const char *name : {"MeetingID", "SessionID"}) {
        if (!m_object.Find(name)) {
            Add(Severity::Warning, "LoggingURL", std::string("without ") + name + " nothing is reported to LoggingURL",
                std::string("set ") + name + ", or leave LoggingURL out");
        }
    }
    if (url.find('?') == std::string::npos) {
        Add(Severity::Warning, "LoggingURL",
            "LoggingURL has no \"?\", so the report of the download time is sent to another path",
            "end it in \"?\", or give it a query");
    }
}

void ParameterExaminer::ExamineSpelling() {
    if (m_object.isEmbed) {
        return; // HTML's attribute names have no case
    }
    for (const auto &[name, value, line] : m_object.parameters) {
        for (const char *known : kKnownParameters) {
            if (name != known && FoldCase(name) == FoldCase(known)) {
                Add(Severity::Warning, name, "parameter " + name + " is not read: names are case-sensitive",
                    std::string("spell it ") + known);
            }
        }
    }
}

Findings ParameterExaminer::Run(const std::string &address) {
    if (m_object.Value("LumComponentName").empty()) {
        Add(Severity::Error, "LumComponentName", "the page has no LumComponentName; nothing can be started",
            "set it to the name of the component to start");
    }
    ExamineRoot(address);
    if (FoldCase(m_object.Value("LumDownloadOnly")) == FoldCase("TRUE") && !m_object.Find("szNextUrl")) {
        Add(Severity::Warning, "LumDownloadOnly", "nothing follows the download: there is no szNextUrl",
            "set szNextUrl, or leave LumDownloadOnly out");
    }
    ExamineReports();
    ExamineSpelling();
    return m_findings;
}

} // namespace

Findings ExamineParameters(const delivery::PageObject &object, const std::string &title, const std::string &address) {
    return ParameterExaminer(object, title).Run(address);
}

} // namespace lumsite
