module varnel

go 1.19
