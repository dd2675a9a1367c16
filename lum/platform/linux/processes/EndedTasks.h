// The processes that this one has launched.
#pragma once

// Collects those that have ended, so that they do not stay behind as zombies. Does not wait, and touches no other child
// of this process.
void CollectEndedTasks();
