// A library by the name that one of a later SDK would have.
int libraryOfAnotherSdk();
int libraryOfAnotherSdk()
{
    return 0;
}
