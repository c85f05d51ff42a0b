/* The memory routines that the generated stubs call. */
#include <rpc.h>
#include <stdlib.h>

void* __RPC_USER MIDL_user_allocate(size_t size)
{
    return malloc(size);
}

void __RPC_USER MIDL_user_free(void* memory)
{
    free(memory);
}
