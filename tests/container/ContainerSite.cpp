#include "tests/container/ContainerSite.h"

#include <cstdlib>

void ContainerSite::Publish(const std::string &name, const std::string &update) {
    const std::string package = name + ".tgz";
    OutputOf("tar -C '" + (dir / "src") + "' -czf '" + (dir / package) + "' '" + name + "'");
    const TestSite::Item item{.name = name, .url = package, .update = update};
    m_lines += "File" + std::to_string(++m_count) + "=" + TestSite::ItemLine(m_identity, item, dir / package) + "\n";
    dir.Write("lummac.ini", "[Kelvo]\nCount=" + std::to_string(m_count) + "\n" + m_lines);
}

std::string ContainerSite::Run(const std::string &container, const std::string &extension, const std::string &component,
                               const std::string &more, int status) {
    return OutputOf("unset DISPLAY; '" + container + "' '" + extension + "' 'LumUrlRoot=file://" + dir.path().string() +
                        "' 'LumComponentName=" + component + "' 'lumcertification=" + m_identity.certification + "' " +
                        more,
                    status);
}

std::string InstallFolder() {
    return std::filesystem::path(std::getenv("HOME")).string() + "/GNUstep/Library/ApplicationSupport/Kelvo Folder";
}
