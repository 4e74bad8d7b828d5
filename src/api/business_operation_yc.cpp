// api/business_operation_yc
