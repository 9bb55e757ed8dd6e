// The interface of target-side plug-ins. This library declares it and implements none of it.
#pragma once

/// A virtual destructor and 32 operations, which belong to target-side plug-ins and are numbered here.
class ISCSI_Target {
public:
    virtual ~ISCSI_Target();
    virtual unsigned int Operation0() = 0;
    virtual unsigned int Operation1() = 0;
    virtual unsigned int Operation2() = 0;
    virtual unsigned int Operation3() = 0;
    virtual unsigned int Operation4() = 0;
    virtual unsigned int Operation5() = 0;
    virtual unsigned int Operation6() = 0;
    virtual unsigned int Operation7() = 0;
    virtual unsigned int Operation8() = 0;
    virtual unsigned int Operation9() = 0;
    virtual unsigned int Operation10() = 0;
    virtual unsigned int Operation11() = 0;
    virtual unsigned int Operation12() = 0;
    virtual unsigned int Operation13() = 0;
    virtual unsigned int Operation14() = 0;
    virtual unsigned int Operation15() = 0;
    virtual unsigned int Operation16() = 0;
    virtual unsigned int Operation17() = 0;
    virtual unsigned int Operation18() = 0;
    virtual unsigned int Operation19() = 0;
    virtual unsigned int Operation20() = 0;
    virtual unsigned int Operation21() = 0;
    virtual unsigned int Operation22() = 0;
    virtual unsigned int Operation23() = 0;
    virtual unsigned int Operation24() = 0;
    virtual unsigned int Operation25() = 0;
    virtual unsigned int Operation26() = 0;
    virtual unsigned int Operation27() = 0;
    virtual unsigned int Operation28() = 0;
    virtual unsigned int Operation29() = 0;
    virtual unsigned int Operation30() = 0;
    virtual unsigned int Operation31() = 0;
};
static_assert(sizeof(ISCSI_Target) == sizeof(void*));
