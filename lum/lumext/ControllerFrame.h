// A call of the controller's on the stack.
//
// The host may end the instance while one is running: from a modal alert's event loop, or from within a service. The
// controller calls no service from then on, and is deleted when its last frame is left.
#pragma once

class CLumExtension;

class ControllerFrame {
public:
    explicit ControllerFrame(CLumExtension &extension);
    // May delete the controller.
    ~ControllerFrame();
    ControllerFrame(const ControllerFrame &) = delete;
    ControllerFrame &operator=(const ControllerFrame &) = delete;

private:
    CLumExtension &m_extension;
};
