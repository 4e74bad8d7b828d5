// api/business_operation
