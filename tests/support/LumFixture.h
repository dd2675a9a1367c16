// A controller in a container for tests, as it is after its table of services has been handed over and before anything
// has been asked for. Tests set the host's parameters and the controller's members as they need them.
#pragma once

#include <string>

#include "lum/lumext/lumext.h"
#include "tests/support/FakeHost.h"
#include "tests/support/TempDir.h"

struct LumFixture {
    LumFixture() {
        extension.m_pLUMInterface = &host.table;
    }

    // Adds the item of this line to the list.
    CItem &Add(const std::string &line) {
        manager.ParseItem(line.c_str(), true);
        return *manager.m_aItems.back();
    }

    // The names of the items in the list, each with a "/" after it.
    std::string Names() const {
        std::string names;
        for (const CItem *item : manager.m_aItems) {
            names += item->m_strName + "/";
        }
        return names;
    }

    TempDir dir;
    FakeHost host;
    CLumExtension extension{&host};
    LumInstallationMgr &manager = extension.m_installationMgr;
};

// The end of an item line with the least attributes, from the URL on.
inline const std::string kItemTail = ";u;;1;1;1;;;;0";
