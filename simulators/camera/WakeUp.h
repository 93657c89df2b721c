#ifndef KIROSIM_WAKE_UP_H
#define KIROSIM_WAKE_UP_H

namespace kirosim {

/** Lets one thread end another one's poll(). */
class WakeUp {
public:
    /** Throws std::system_error when there is no descriptor left. */
    WakeUp();
    ~WakeUp();
    WakeUp(const WakeUp&) = delete;
    WakeUp& operator=(const WakeUp&) = delete;

    /** To be polled for input. */
    int Descriptor() const { return descriptor_; }
    void Signal();
    /** Takes back all signals so far. */
    void Clear();

private:
    int descriptor_;
};

} // namespace kirosim

#endif
